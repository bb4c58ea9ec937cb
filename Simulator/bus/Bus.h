/** @file
 * A private message bus with the set's migration service on it.
 */
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>

#include "Set.h"

namespace vbset {

/** The system bus of a set, for as long as the object lives.
 *
 * A real dbus-daemon of its own that the host's buses know nothing of, and the migration service on it. Both end with
 * this object, and also when the thread that made it ends, however it ends. The set must be on.
 */
class Bus {
 public:
    /** Starts the daemon and, unless the fault service.state=absent is switched on, the service; returns when both
     * are ready. From then on DBUS_SYSTEM_BUS_ADDRESS names this bus for this process and what it starts.
     * @throw Error when one of them cannot be started; then neither runs */
    explicit Bus(const Set& set);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    const std::string& Address() const { return address_; }

    /** Ends the service and whatever command it is carrying out. The daemon takes a moment to notice: a call that is
     * made before that ends as one whose service died. */
    void StopService();

    /** Starts the service, anew if it runs or died; not while it is absent by fault.
     * @throw Error when it does not get ready */
    void StartService();

    /** Ends service and daemon: every connection is closed. The address stays exported and leads nowhere. */
    void Stop();

    /** The process of the service, -1 when none was started. It may have died by itself. */
    pid_t ServiceProcess() const { return service_; }
    pid_t DaemonProcess() const { return daemon_; }

 private:
    void StartDaemon();

    std::filesystem::path tv_;
    std::filesystem::path box_;
    std::string address_;
    std::optional<std::string> previousAddress_;
    pid_t daemon_ = -1;
    pid_t service_ = -1;
};

}  // namespace vbset
