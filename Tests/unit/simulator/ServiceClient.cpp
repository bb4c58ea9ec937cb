#include "ServiceClient.h"

#include <chrono>
#include <stdexcept>

namespace {

constexpr const char* name = "com.vornbox.migration";
constexpr const char* object = "/com/vornbox/migration";

/** The D-Bus name of an error; for one that never was on the bus, such as a time-out, GLib's text. */
std::string NameOf(GError* error)
{
    char* const remote = g_dbus_error_get_remote_error(error);
    char* const copy = remote != nullptr ? remote : g_strdup(error->message);
    const std::string text = copy;
    g_free(copy);
    g_error_free(error);
    return text;
}

}  // namespace

ServiceClient::ServiceClient(const std::string& address)
{
    const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                         G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    GError* error = nullptr;
    connection_ = g_dbus_connection_new_for_address_sync(address.c_str(), flags, nullptr, nullptr, &error);
    if (connection_ == nullptr) {
        throw std::runtime_error(NameOf(error));
    }
}

ServiceClient::~ServiceClient()
{
    g_dbus_connection_close_sync(connection_, nullptr, nullptr);
    g_object_unref(connection_);
}

std::string ServiceClient::Call(const char* busName, const char* path, const char* interface, const char* method,
                                GVariant* parameters, int milliseconds)
{
    GError* error = nullptr;
    GVariant* const reply = g_dbus_connection_call_sync(connection_, busName, path, interface, method, parameters,
                                                        nullptr, G_DBUS_CALL_FLAGS_NONE, milliseconds, nullptr, &error);
    if (reply == nullptr) {
        return NameOf(error);
    }
    GVariant* const value = g_variant_get_child_value(reply, 0);
    const bool isText = g_variant_is_of_type(value, G_VARIANT_TYPE_STRING);
    const char* const truth = !isText && g_variant_get_boolean(value) ? "yes" : "no";
    const std::string text = isText ? g_variant_get_string(value, nullptr) : truth;
    g_variant_unref(value);
    g_variant_unref(reply);
    return text;
}

std::string ServiceClient::Ask(const std::string& request, int milliseconds)
{
    return Call(name, object, name, "ExecuteUserShell", g_variant_new("(s)", request.c_str()), milliseconds);
}

bool ServiceClient::IsThere()
{
    return Call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
                g_variant_new("(s)", name), -1) == "yes";
}

bool ServiceClient::WaitUntilGone()
{
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    bool isThere = IsThere();
    while (isThere && std::chrono::steady_clock::now() < limit) {
        isThere = IsThere();
    }
    return !isThere;
}

std::string ServiceClient::Introspect()
{
    return Call(name, object, "org.freedesktop.DBus.Introspectable", "Introspect", nullptr, -1);
}

void ServiceClient::WaitForClose()
{
    while (g_dbus_connection_is_closed(connection_) == FALSE) {
        g_main_context_iteration(nullptr, TRUE);
    }
}
