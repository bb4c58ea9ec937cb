#include <DBusServiceClient.h>

#include <gio/gio.h>

#include "BenchSet.h"
#include "Comparison.h"
#include "Groups.h"
#include "OutsideCalls.h"

namespace bench {

namespace {

constexpr double kLimit = 1.05;
constexpr const char* kPath = "/opt/tv/migration/service/x";
constexpr const char* kGLibCall = "g_dbus_proxy_call_sync";

/** A call of the library beside the very request that it makes. */
void CompareCall(const std::string& what, GDBusProxy* proxy, const Operation& operation)
{
    Demand(operation(), what.c_str());
    const std::vector<ServiceRequest> requests = OutsideCalls::Record(operation).ServiceRequests();
    Demand(requests.size() == 1, "a call by one request");
    Compare("service call: " + what, kLimit, kGLibCall)
        .Library(operation)
        .Floor([request = requests[0]] { return SendThroughLibDBus(request); })
        .Instead(kGLibCall, [proxy, request = requests[0]] { return SendThroughGLib(proxy, request); });
}

void CompareServiceCalls(const std::filesystem::path& parent, const std::function<void()>& measure)
{
    BenchSet set(parent, "tv15", "box15");
    set.StartAnsweringService();
    DBusClient& client = *DBusClient::Instance();
    g_autoptr(GDBusProxy) proxy =
        g_dbus_proxy_new_for_bus_sync(G_BUS_TYPE_SYSTEM, G_DBUS_PROXY_FLAGS_NONE, nullptr, kServiceName, kServiceObject,
                                      kServiceName, nullptr, nullptr);
    Demand(proxy != nullptr, "a proxy of the service");
    unsigned char read[6] = {};
    unsigned char written[6] = {2, 0, 0x5E, 0x20, 0, 1};
    CompareCall("command", proxy, [&] { return client.SendCmdToServer("true") == 0; });
    CompareCall("read", proxy, [&] { return client.ReadOnServer(kPath, 6, read) && read[5] == 0x0F; });
    CompareCall("write", proxy, [&] { return client.WriteOnServer(kPath, 6, written) == 6; });
    CompareCall("path", proxy, [&] { return client.PathExists(kPath) == 0; });
    measure();
}

}  // namespace

std::vector<Group> ServiceGroups(const Places& places)
{
    return {{"service", [=](const std::function<void()>& measure) { CompareServiceCalls(places.memory, measure); }}};
}

}  // namespace bench
