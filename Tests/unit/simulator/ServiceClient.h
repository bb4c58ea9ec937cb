/** @file
 * A client of the migration service that uses nothing of the library.
 */
#pragma once

#include <gio/gio.h>

#include <string>

class ServiceClient {
 public:
    /** @throw std::runtime_error when there is no bus at the address */
    explicit ServiceClient(const std::string& address);
    ~ServiceClient();
    ServiceClient(const ServiceClient&) = delete;
    ServiceClient& operator=(const ServiceClient&) = delete;

    /** Sends a request to the service. @return the reply text, or the D-Bus name of the error */
    std::string Ask(const std::string& request, int milliseconds = -1);

    /** True while the service owns its name. */
    bool IsThere();

    /** Waits until it does not: the bus takes a moment to notice that a process has ended.
     * @return false when it still does after 10 seconds */
    bool WaitUntilGone();

    /** What the service says of its object. */
    std::string Introspect();

    /** Waits until the bus closes the connection. */
    void WaitForClose();

 private:
    std::string Call(const char* bus, const char* path, const char* interface, const char* method,
                     GVariant* parameters, int milliseconds);

    GDBusConnection* connection_;
};
