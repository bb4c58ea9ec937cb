#include "LoopHook.h"

#include <dlfcn.h>
#include <glib.h>

#include <atomic>
#include <utility>

namespace {

thread_local std::function<void()> beforeNextRun;
std::atomic<int> runs{0};

}  // namespace

void BeforeNextLoopRun(std::function<void()> action)
{
    beforeNextRun = std::move(action);
}

int LoopRuns()
{
    return runs;
}

extern "C" void g_main_loop_run(GMainLoop* loop)
{
    static const auto next = reinterpret_cast<decltype(&::g_main_loop_run)>(dlsym(RTLD_NEXT, "g_main_loop_run"));
    if (const auto action = std::exchange(beforeNextRun, nullptr)) {
        action();
    }
    ++runs;
    next(loop);
}
