/** @file
 * A service without a bus. For test programs that have AnsweringBus.cpp among their sources: the GIO functions that the
 * service client calls are in the place of GIO's own there. Replies come as GIO's do, by a callback from the main loop.
 */
#pragma once

#include <gio/gio.h>

#include <functional>

/** Has requests answered from now on: by a floating reply, or null for a call that fails. */
void AnswerRequests(std::function<GVariant*(const char* request)> answer);
