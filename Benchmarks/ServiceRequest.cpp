#include "ServiceRequest.h"

#include <dbus/dbus.h>
#include <gio/gio.h>

namespace bench {

namespace {

/** One for the process, as long as it lives. */
DBusConnection* Connection()
{
    static DBusConnection* const connection = dbus_bus_get(DBUS_BUS_SYSTEM, nullptr);
    return connection;
}

}  // namespace

bool SendThroughLibDBus(const ServiceRequest& request)
{
    DBusMessage* const call =
        dbus_message_new_method_call(kServiceName, kServiceObject, kServiceName, request.method.c_str());
    const char* const text = request.text.c_str();
    dbus_message_append_args(call, DBUS_TYPE_STRING, &text, DBUS_TYPE_INVALID);
    DBusMessage* const reply = dbus_connection_send_with_reply_and_block(Connection(), call, request.timeout, nullptr);
    dbus_message_unref(call);
    if (reply == nullptr) return false;
    dbus_message_unref(reply);
    return true;
}

bool SendThroughGLib(GDBusProxy* proxy, const ServiceRequest& request)
{
    g_autoptr(GVariant) reply =
        g_dbus_proxy_call_sync(proxy, request.method.c_str(), g_variant_new("(s)", request.text.c_str()),
                               G_DBUS_CALL_FLAGS_NONE, request.timeout, nullptr, nullptr);
    return reply != nullptr;
}

}  // namespace bench
