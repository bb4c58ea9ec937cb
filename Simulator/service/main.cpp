/** The migration service of a simulated set: owns its name on the set's bus and carries requests out, one at a time. */
#include <gio/gio.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "Live.h"
#include "Operations.h"
#include "Process.h"
#include "Request.h"

namespace {

using vbset::service::Operations;

constexpr const char* busName = "com.vornbox.migration";
constexpr const char* objectPath = "/com/vornbox/migration";
constexpr const char* interfaceDescription =
    "<node>"
    "  <interface name='com.vornbox.migration'>"
    "    <method name='ExecuteUserShell'>"
    "      <arg name='request' type='s' direction='in'/>"
    "      <arg name='reply' type='s' direction='out'/>"
    "    </method>"
    "  </interface>"
    "</node>";

/** What the service's trace line says in the place of a reply when there was none. */
constexpr const char* noReply = "no reply";

void Note(const std::string& request, const std::string& reply)
{
    vbset::live::Note("service", "ExecuteUserShell", request, reply);
}

bool StateIs(const char* state)
{
    const char* const fault = vbset::live::Fault("service.state");
    return fault != nullptr && std::strcmp(fault, state) == 0;
}

/** The reply that a fault puts in the place of the true one, as valid text for the bus. */
std::string FaultyReply(const std::string& request, const std::string& reply)
{
    const std::string key = "service.reply." + request.substr(0, request.find(':'));
    const char* const fault = vbset::live::Fault(key.c_str());
    if (fault == nullptr) {
        return reply;
    }
    const std::unique_ptr<char, decltype(&g_free)> valid(g_utf8_make_valid(fault, -1), g_free);
    return valid.get();
}

void Answer(GDBusMethodInvocation* invocation, const std::string& reply)
{
    g_dbus_method_invocation_return_value(invocation, g_variant_new("(s)", reply.c_str()));
}

struct LateReply {
    GDBusMethodInvocation* invocation;
    std::string text;
};

/** Answers after the time that the fault service.delay gives; other requests are served meanwhile. */
void AnswerInTime(GDBusMethodInvocation* invocation, const std::string& reply)
{
    const char* const delay = vbset::live::Fault("service.delay");
    const unsigned long milliseconds = delay != nullptr ? std::strtoul(delay, nullptr, 10) : 0;
    if (milliseconds == 0) {
        Answer(invocation, reply);
        return;
    }
    const auto send = [](void* data) -> gboolean {
        const std::unique_ptr<LateReply> late(static_cast<LateReply*>(data));
        Answer(late->invocation, late->text);
        return G_SOURCE_REMOVE;
    };
    g_timeout_add(static_cast<guint>(milliseconds), send, new LateReply{invocation, reply});
}

void ExecuteUserShell(Operations& operations, const std::string& text, GDBusMethodInvocation* invocation)
{
    vbset::live::ReloadFaults();
    if (StateIs("dies")) {
        Note(text, noReply);
        _exit(1);
    }
    if (StateIs("silent")) {
        Note(text, noReply);
        return;
    }
    const auto request = vbset::service::ParseRequest(text);
    if (StateIs("error") || !request) {
        const char* const message = request ? "the service refuses every request" : "the request has no four fields";
        Note(text, std::string("error: ") + message);
        g_dbus_method_invocation_return_error_literal(
            invocation, G_DBUS_ERROR, request ? G_DBUS_ERROR_FAILED : G_DBUS_ERROR_INVALID_ARGS, message);
        return;
    }
    const std::string reply = FaultyReply(text, operations.CarryOut(*request));
    Note(text, reply);
    AnswerInTime(invocation, reply);
}

void MethodCalled(GDBusConnection*, const char*, const char*, const char*, const char*, GVariant* parameters,
                  GDBusMethodInvocation* invocation, void* data)
{
    const char* request = nullptr;
    g_variant_get(parameters, "(&s)", &request);
    try {
        ExecuteUserShell(*static_cast<Operations*>(data), request, invocation);
    } catch (const std::exception& error) {
        g_dbus_method_invocation_return_error_literal(invocation, G_DBUS_ERROR, G_DBUS_ERROR_FAILED, error.what());
    }
}

struct FreeGError {
    void operator()(GError* error) const { g_error_free(error); }
};

[[noreturn]] void Fail(const char* what, GError* error)
{
    const std::unique_ptr<GError, FreeGError> owned(error);
    throw vbset::Error(std::string(what) + (owned ? std::string(": ") + owned->message : std::string()));
}

GDBusConnection* Connect()
{
    const char* const address = std::getenv("DBUS_SYSTEM_BUS_ADDRESS");
    if (address == nullptr) {
        throw vbset::Error("DBUS_SYSTEM_BUS_ADDRESS is not set; the service is started by vbset");
    }
    GError* error = nullptr;
    const auto flags = static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                                         G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION);
    GDBusConnection* const bus = g_dbus_connection_new_for_address_sync(address, flags, nullptr, nullptr, &error);
    if (bus == nullptr) {
        Fail("no bus", error);
    }
    g_dbus_connection_set_exit_on_close(bus, TRUE);
    return bus;
}

void Register(GDBusConnection* bus, Operations& operations)
{
    GError* error = nullptr;
    GDBusNodeInfo* const node = g_dbus_node_info_new_for_xml(interfaceDescription, &error);
    static const GDBusInterfaceVTable table = {MethodCalled, nullptr, nullptr, {}};
    if (node == nullptr || g_dbus_connection_register_object(bus, objectPath, node->interfaces[0], &table, &operations,
                                                             nullptr, &error) == 0) {
        Fail("cannot register the object", error);
    }
    g_dbus_node_info_unref(node);
}

void TakeName(GDBusConnection* bus)
{
    constexpr guint doNotQueue = 4;
    constexpr guint primaryOwner = 1;
    GError* error = nullptr;
    GVariant* const reply = g_dbus_connection_call_sync(
        bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
        g_variant_new("(su)", busName, doNotQueue), G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE, -1, nullptr, &error);
    if (reply == nullptr) {
        Fail("cannot take the name", error);
    }
    guint result = 0;
    g_variant_get(reply, "(u)", &result);
    g_variant_unref(reply);
    if (result != primaryOwner) {
        Fail("the name is taken", nullptr);
    }
}

/** Tells who started the service that requests are answered from now on. */
void AnnounceReadiness(int argc, char** argv)
{
    const std::string option = argc > 1 ? argv[1] : "";
    const std::string prefix = "--ready-fd=";
    if (option.rfind(prefix, 0) == 0) {
        const vbset::Descriptor ready(std::atoi(option.c_str() + prefix.size()));
        const std::string text = "ready\n";
        if (write(ready.Get(), text.data(), text.size()) < 0) {
            throw vbset::Error("nobody waits for the service");
        }
    }
}

/** The service ends at once, and a command that it is carrying out with it. */
void EndOnSignal(int)
{
    vbset::service::EndCommand();
    _exit(0);
}

void Serve(int argc, char** argv)
{
    const char* const tv = std::getenv("VBSET_TV");
    const char* const box = std::getenv("VBSET_BOX");
    if (tv == nullptr || box == nullptr) {
        throw vbset::Error("VBSET_TV and VBSET_BOX are not set; the service is started by vbset");
    }
    const vbset::Set set(tv, box);
    Operations operations(set);
    std::signal(SIGTERM, EndOnSignal);
    GDBusConnection* const bus = Connect();
    Register(bus, operations);
    TakeName(bus);
    AnnounceReadiness(argc, argv);
    GMainLoop* const loop = g_main_loop_new(nullptr, FALSE);
    g_main_loop_run(loop);
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        Serve(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vbset-service: %s\n", error.what());
        return 1;
    }
    return 0;
}
