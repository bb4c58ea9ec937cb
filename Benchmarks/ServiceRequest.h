/** @file
 * A request to the migration service, made bare in the two ways there are.
 */
#pragma once

#include <string>

using GDBusProxy = struct _GDBusProxy;

namespace bench {

inline constexpr const char* kServiceName = "com.vornbox.migration";  // of the bus name and of the interface
inline constexpr const char* kServiceObject = "/com/vornbox/migration";
inline constexpr const char* kServiceMethod = "ExecuteUserShell";

/** What the library sends to the service. */
struct ServiceRequest {
    std::string method;
    std::string text;
    int timeout = -1;  ///< milliseconds; -1 is the usual one, the greatest number none
};

/** Through libdbus, blocking, on a connection of its own. @return whether the service answered */
bool SendThroughLibDBus(const ServiceRequest& request);

/** Through g_dbus_proxy_call_sync. @return whether the service answered */
bool SendThroughGLib(GDBusProxy* proxy, const ServiceRequest& request);

}  // namespace bench
