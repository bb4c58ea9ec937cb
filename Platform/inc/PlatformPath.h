/** @file
 * The platform's path configuration.
 */
#ifndef PLATFORM_PATH_H
#define PLATFORM_PATH_H

#ifdef __cplusplus
extern "C" {
#endif

/** The path variable below which the picture service file and the default backup tree lie. */
enum { PLATFORM_PATH_MIGRATION = 31 };

/** Joins the directory that a path variable names with a relative path.
 * @return a zero-terminated path that belongs to the platform, so that this library copies it at once; null when the
 *         variable names no directory
 */
const char* tzplatform_mkpath(int variable, const char* path);

#ifdef __cplusplus
}
#endif

#endif
