/** @file
 * The platform log.
 */
#ifndef PLATFORM_LOG_H
#define PLATFORM_LOG_H

#ifdef __cplusplus
extern "C" {
#endif

/** Writes one message to a buffer of the platform log.
 *
 * @param log_id    buffer of the log; 0 is the main buffer
 * @param priority  4 information, 6 error
 * @param tag       name of the component that speaks
 * @param format    printf format of the message
 * @return a negative value when the message could not be written
 */
int __dlog_print(int log_id, int priority, const char* tag, const char* format, ...)
    __attribute__((format(printf, 4, 5)));

#ifdef __cplusplus
}
#endif

#endif
