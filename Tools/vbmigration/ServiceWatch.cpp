#include "ServiceWatch.h"

#include <gio/gio.h>

#include <cstring>
#include <mutex>

namespace command {

namespace {

constexpr const char* kInterface = "com.vornbox.migration";
constexpr const char* kMethod = "ExecuteUserShell";

/** Filled by GLib's thread, which outlives main(): kept for good. */
struct Seen {
    std::mutex mutex;
    std::vector<Exchange> exchanges;
    guint32 lastSerial = 0;  ///< of the last request; the library waits for each before it sends the next
};

Seen& TheSeen()
{
    static Seen& seen = *new Seen;
    return seen;
}

/** The text of a message that consists of one; empty without it. */
std::string TextOf(GDBusMessage* message)
{
    GVariant* const body = g_dbus_message_get_body(message);
    const char* text = nullptr;
    if (body != nullptr && g_variant_is_of_type(body, G_VARIANT_TYPE("(s)"))) {
        g_variant_get(body, "(&s)", &text);
    }
    return text != nullptr ? text : "";
}

bool IsRequest(GDBusMessage* message)
{
    const char* const interface = g_dbus_message_get_interface(message);
    const char* const member = g_dbus_message_get_member(message);
    return interface != nullptr && member != nullptr && std::strcmp(interface, kInterface) == 0 &&
           std::strcmp(member, kMethod) == 0;
}

/** Looks at every message of the connection, in GLib's thread, and lets it pass. */
GDBusMessage* Look(GDBusConnection*, GDBusMessage* message, gboolean incoming, void*)
{
    Seen& seen = TheSeen();
    const GDBusMessageType type = g_dbus_message_get_message_type(message);
    const std::lock_guard<std::mutex> lock(seen.mutex);
    if (!incoming && type == G_DBUS_MESSAGE_TYPE_METHOD_CALL && IsRequest(message)) {
        seen.exchanges.push_back({TextOf(message), std::nullopt});
        seen.lastSerial = g_dbus_message_get_serial(message);
    } else if (incoming && type == G_DBUS_MESSAGE_TYPE_METHOD_RETURN && !seen.exchanges.empty() &&
               g_dbus_message_get_reply_serial(message) == seen.lastSerial) {
        const std::string reply = TextOf(message);
        if (!reply.empty()) {
            seen.exchanges.back().reply = reply;
        }
    }
    return message;
}

bool WatchTheBus()
{
    GDBusConnection* const bus = g_bus_get_sync(G_BUS_TYPE_SYSTEM, nullptr, nullptr);  // the library's too; for good
    if (bus != nullptr) {
        g_dbus_connection_set_exit_on_close(bus, FALSE);
        g_dbus_connection_add_filter(bus, Look, nullptr, nullptr);
    }
    return bus != nullptr;
}

}  // namespace

void WatchService()
{
    [[maybe_unused]] static const bool isWatched = WatchTheBus();
}

std::vector<Exchange> ExchangesSince(std::size_t skipped)
{
    Seen& seen = TheSeen();
    const std::lock_guard<std::mutex> lock(seen.mutex);
    return {seen.exchanges.begin() + static_cast<std::ptrdiff_t>(skipped), seen.exchanges.end()};
}

std::size_t CountOfExchanges()
{
    Seen& seen = TheSeen();
    const std::lock_guard<std::mutex> lock(seen.mutex);
    return seen.exchanges.size();
}

}  // namespace command
