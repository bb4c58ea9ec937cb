#include <DBusServiceClient.h>

#include <dbus/dbus.h>

#include <memory>

#include "BenchSet.h"
#include "Comparison.h"
#include "Groups.h"

namespace bench {

namespace {

constexpr double kLimit = 1.05;
constexpr const char* kName = "com.vornbox.migration";
constexpr const char* kObject = "/com/vornbox/migration";
constexpr const char* kMethod = "ExecuteUserShell";
constexpr const char* kPath = "/opt/tv/migration/service/x";
constexpr const char* kGLibCall = "g_dbus_proxy_call_sync";

/** The same message through libdbus, blocking. */
void CallThroughLibDBus(DBusConnection* connection, const char* request)
{
    DBusMessage* const call = dbus_message_new_method_call(kName, kObject, kName, kMethod);
    dbus_message_append_args(call, DBUS_TYPE_STRING, &request, DBUS_TYPE_INVALID);
    DBusMessage* const reply = dbus_connection_send_with_reply_and_block(connection, call, -1, nullptr);
    dbus_message_unref(call);
    if (reply != nullptr) dbus_message_unref(reply);
}

void CallThroughProxy(GDBusProxy* proxy, const char* request)
{
    g_autoptr(GVariant) reply = g_dbus_proxy_call_sync(proxy, kMethod, g_variant_new("(s)", request),
                                                       G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr);
}

void CompareServiceCalls(const std::filesystem::path& parent, const std::function<void()>& measure)
{
    BenchSet set(parent, "tv15", "box15");
    set.StartAnsweringService();
    DBusClient& client = *DBusClient::Instance();
    DBusConnection* const connection = dbus_bus_get(DBUS_BUS_SYSTEM, nullptr);
    GDBusProxy* const proxy = g_dbus_proxy_new_for_bus_sync(G_BUS_TYPE_SYSTEM, G_DBUS_PROXY_FLAGS_NONE, nullptr, kName,
                                                            kObject, kName, nullptr, nullptr);
    static unsigned char mac[6] = {2, 0, 0x5E, 0x20, 0, 1};

    const auto compare = [&](const std::string& what, const std::string& request, const Operation& operation) {
        Compare("service call: " + what, kLimit, kGLibCall)
            .Library(operation)
            .Floor([=] { CallThroughLibDBus(connection, request.c_str()); })
            .Instead(kGLibCall, [=] { CallThroughProxy(proxy, request.c_str()); });
    };
    compare("command", "0:true::", [&] { client.SendCmdToServer("true"); });
    compare("read", std::string("1:") + kPath + ":6:", [&] { client.ReadOnServer(kPath, 6, mac); });
    compare("write", std::string("2:") + kPath + ":6:02005E200001", [&] { client.WriteOnServer(kPath, 6, mac); });
    compare("path", std::string("3:") + kPath + "::", [&] { client.PathExists(kPath); });
    measure();
    g_object_unref(proxy);
    dbus_connection_unref(connection);
}

}  // namespace

std::vector<Group> ServiceGroups(const Places& places)
{
    return {{"service", [=](const std::function<void()>& measure) { CompareServiceCalls(places.memory, measure); }}};
}

}  // namespace bench
