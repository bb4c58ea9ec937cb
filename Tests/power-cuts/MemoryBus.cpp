/** @file
 * The GIO functions that the service client calls, in the place of GIO's: no bus is touched, and the requests are carried
 * out on the set in memory. Replies come as GIO's do, by a callback from the main loop.
 */
#include <gio/gio.h>

#include "Machine.h"

namespace {

/** Stands for the connection, the proxy and the result of a call: nobody looks into them. */
int something = 0;

template <class Object>
Object* Something()
{
    return reinterpret_cast<Object*>(&something);
}

/** The call that is under way; there is never more than one. */
struct Call {
    std::string reply;
    GAsyncReadyCallback callback = nullptr;
    gpointer data = nullptr;
};
Call& TheCall()
{
    static Call call;
    return call;
}

gboolean Complete(gpointer)
{
    TheCall().callback(nullptr, Something<GAsyncResult>(), TheCall().data);
    return G_SOURCE_REMOVE;
}

}  // namespace

GDBusConnection* g_bus_get_sync(GBusType, GCancellable*, GError**) { return Something<GDBusConnection>(); }

void g_dbus_connection_set_exit_on_close(GDBusConnection*, gboolean) {}

GDBusProxy* g_dbus_proxy_new_sync(GDBusConnection*, GDBusProxyFlags, GDBusInterfaceInfo*, const gchar*, const gchar*,
                                  const gchar*, GCancellable*, GError**)
{
    return Something<GDBusProxy>();
}

gint g_dbus_proxy_get_default_timeout(GDBusProxy*) { return -1; }

void g_dbus_proxy_call(GDBusProxy*, const gchar*, GVariant* parameters, GDBusCallFlags, gint, GCancellable*,
                       GAsyncReadyCallback callback, gpointer data)
{
    const gchar* request = nullptr;
    g_variant_ref_sink(parameters);
    g_variant_get(parameters, "(&s)", &request);
    powercut::Begin();
    TheCall().reply = powercut::AnswerRequest(request);
    powercut::End(std::string("request ") + request);
    g_variant_unref(parameters);
    TheCall().callback = callback;
    TheCall().data = data;
    g_idle_add_full(G_PRIORITY_DEFAULT, Complete, nullptr, nullptr);
}

GVariant* g_dbus_proxy_call_finish(GDBusProxy*, GAsyncResult*, GError**)
{
    return g_variant_ref_sink(g_variant_new("(s)", TheCall().reply.c_str()));
}
