/** @file
 * The longer parts of what `--help` says.
 */
#pragma once

namespace vbset::help {

extern const char* const overview;
extern const char* const newSide;
extern const char* const show;
extern const char* const run;
extern const char* const trace;
extern const char* const diff;
extern const char* const off;

}  // namespace vbset::help
