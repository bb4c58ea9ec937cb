/** @file
 * Gets between the making of a main loop and its run. For test programs that have LoopHook.cpp among their sources: it
 * stands before g_main_loop_run().
 */
#pragma once

#include <functional>

/** Has something done right before this thread runs a main loop the next time. */
void BeforeNextLoopRun(std::function<void()> action);

/** How many runs of a main loop this process has begun. */
int LoopRuns();
