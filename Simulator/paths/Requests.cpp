/** @file
 * The requests to the migration service, traced with their text and the reply's.
 *
 * A program without GIO can be preloaded too, so GIO is neither linked nor included: what is needed is declared here
 * and looked up in the library that the program itself has loaded.
 */
#include <dlfcn.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <new>

#include "Live.h"
#include "Shim.h"

extern "C" {
struct GDBusProxy;
struct GVariant;
struct GVariantType;
struct GAsyncResult;
struct GCancellable;
struct GObject;
struct GError {
    unsigned int domain;
    int code;
    char* message;
};
using GAsyncReadyCallback = void (*)(GObject*, GAsyncResult*, void*);

void g_dbus_proxy_call(GDBusProxy* proxy, const char* method, GVariant* parameters, int flags, int timeout,
                       GCancellable* cancellable, GAsyncReadyCallback callback, void* data);
GVariant* g_dbus_proxy_call_finish(GDBusProxy* proxy, GAsyncResult* result, GError** error);
}

namespace vbset::shim {
namespace {

template <typename Function>
Function FromGio(const char* name) noexcept
{
    // Also when GIO came with a library that was opened without giving its symbols away, where RTLD_NEXT ends.
    void* const gio = dlopen("libgio-2.0.so.0", RTLD_LAZY | RTLD_NOLOAD);
    void* found = gio == nullptr ? nullptr : dlsym(gio, name);
    return reinterpret_cast<Function>(found == nullptr ? FindNext(name) : found);
}

/** Adds the text of a "(s)"; anything else has none. */
void AddText(Text& out, GVariant* tuple) noexcept
{
    static const auto isOfType = FromGio<int (*)(GVariant*, const GVariantType*)>("g_variant_is_of_type");
    static const auto get = FromGio<void (*)(GVariant*, const char*, ...)>("g_variant_get");
    const char* text = nullptr;
    // A type is its own text.
    if (tuple == nullptr || isOfType(tuple, reinterpret_cast<const GVariantType*>("(s)")) == 0) return;
    get(tuple, "(&s)", &text);
    if (text != nullptr) out.Add(text);
}

/** A request under way. */
struct Request {
    Text text;
    GAsyncReadyCallback callback;
    void* data;
    // Its store and its load hand the request over to the thread that answers it: GLib does so too, but ThreadSanitizer
    // does not see that.
    std::atomic<bool> answered;
};

/** The request whose callback runs in this thread now. */
thread_local Request* answering = nullptr;

void Answer(GObject* source, GAsyncResult* result, void* data)
{
    const std::unique_ptr<Request> request(static_cast<Request*>(data));
    request->answered.load(std::memory_order_acquire);
    Request* const outer = answering;
    answering = request.get();
    request->callback(source, result, request->data);
    answering = outer;
    if (!request->answered) Record("request", request->text.Get(), "", "not taken");
}

void RecordReply(Request& request, GVariant* reply, GError* const* error) noexcept
{
    request.answered = true;
    Text text;
    if (reply != nullptr) {
        AddText(text, reply);
    } else {
        text.Add("error");
        if (error != nullptr && *error != nullptr) text.Add(": ").Add((*error)->message);
    }
    Record("request", request.text.Get(), "", text.Get());
}

}  // namespace
}  // namespace vbset::shim

namespace shim = vbset::shim;

VBSET_INTERPOSED void g_dbus_proxy_call(GDBusProxy* proxy, const char* method, GVariant* parameters, int flags,
                                        int timeout, GCancellable* cancellable, GAsyncReadyCallback callback,
                                        void* data)
{
    static const auto next = shim::FromGio<decltype(&::g_dbus_proxy_call)>("g_dbus_proxy_call");
    if (vbset::live::IsTraced() && method != nullptr && callback != nullptr &&
        std::strcmp(method, "ExecuteUserShell") == 0) {
        auto* request = new (std::nothrow) shim::Request{{}, callback, data, false};
        if (request != nullptr) {
            shim::AddText(request->text, parameters);
            request->answered.store(false, std::memory_order_release);
            callback = shim::Answer;
            data = request;
        }
    }
    next(proxy, method, parameters, flags, timeout, cancellable, callback, data);
}

VBSET_INTERPOSED GVariant* g_dbus_proxy_call_finish(GDBusProxy* proxy, GAsyncResult* result, GError** error)
{
    static const auto next = shim::FromGio<decltype(&::g_dbus_proxy_call_finish)>("g_dbus_proxy_call_finish");
    GVariant* reply = next(proxy, result, error);
    if (shim::answering != nullptr && !shim::answering->answered) {
        shim::RecordReply(*shim::answering, reply, error);
    }
    return reply;
}
