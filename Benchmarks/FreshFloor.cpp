// A fresh process that goes as far as it is told with nothing but GIO: "bus", "proxy" or "call".

#include <gio/gio.h>

#include <cstring>

#include "ServiceRequest.h"

namespace {

// The text that the library sends in the process beside this one.
constexpr const char* kRequest = "0:true:EMPTY:EMPTY";

bool CallService(GDBusProxy* proxy)
{
    g_autoptr(GVariant) reply = g_dbus_proxy_call_sync(proxy, bench::kServiceMethod, g_variant_new("(s)", kRequest),
                                                       G_DBUS_CALL_FLAGS_NONE, G_MAXINT, nullptr, nullptr);
    return reply != nullptr;
}

}  // namespace

int main(int count, char** values)
{
    if (count != 2) return 2;
    g_autoptr(GDBusConnection) connection = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);
    if (connection == nullptr) return 1;
    if (std::strcmp(values[1], "bus") == 0) return 0;
    g_autoptr(GDBusProxy) proxy = g_dbus_proxy_new_sync(connection, G_DBUS_PROXY_FLAGS_NONE, nullptr,
                                                        bench::kServiceName, bench::kServiceObject, bench::kServiceName,
                                                        nullptr, nullptr);
    if (proxy == nullptr) return 1;
    return std::strcmp(values[1], "proxy") == 0 || CallService(proxy) ? 0 : 1;
}
