// A fresh process that loads GIO and, when told to, gets the bus or calls the service with nothing but GIO.

#include <gio/gio.h>

#include <cstring>

namespace {

int CallService(GDBusConnection* connection)
{
    constexpr const char* kName = "com.vornbox.migration";
    g_autoptr(GDBusProxy) proxy = g_dbus_proxy_new_sync(connection, G_DBUS_PROXY_FLAGS_NONE, nullptr, kName,
                                                        "/com/vornbox/migration", kName, nullptr, nullptr);
    g_autoptr(GVariant) reply = g_dbus_proxy_call_sync(proxy, "ExecuteUserShell", g_variant_new("(s)", "0:true::"),
                                                       G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
    return reply != nullptr ? 0 : 1;
}

}  // namespace

int main(int, char** values)
{
    if (std::strcmp(values[1], "nothing") == 0) return 0;
    g_autoptr(GDBusConnection) connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    if (connection == nullptr) return 1;
    return std::strcmp(values[1], "call") == 0 ? CallService(connection) : 0;
}
