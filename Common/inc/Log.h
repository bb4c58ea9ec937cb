/** @file
 * The one way to the platform log.
 *
 * A source file defines LOG_UNIT, the file name under which field engineers know its messages, before it logs. A concern
 * that is spread over several files keeps one name; the line in a message is that of the file that holds the code.
 */
#pragma once

#include <PlatformLog.h>

inline constexpr int kLogMain = 0;   ///< the main buffer of the platform log
inline constexpr int kLogInfo = 4;   ///< priority of progress and information
inline constexpr int kLogError = 6;  ///< priority of errors, and of some traces

/** Logs for an operation that is not the function at hand: a helper speaks in the name of what called it. */
#define LOG_FOR(unit, function, priority, text, ...) \
    __dlog_print(kLogMain, priority, "MIGVBX", "%s: %s(%d) > " text, unit, function, __LINE__, ##__VA_ARGS__)

/** Information of the function at hand. */
#define LOG_INFO(...) LOG_FOR(LOG_UNIT, __func__, kLogInfo, __VA_ARGS__)
/** An error of the function at hand. */
#define LOG_ERROR(...) LOG_FOR(LOG_UNIT, __func__, kLogError, __VA_ARGS__)

/** The entry trace; at error priority, as it has always been. */
#define LOG_ENTRY() LOG_ERROR("Migration -> Func -> %s \t\t@ line\t-> %d\t", __func__, __LINE__)
