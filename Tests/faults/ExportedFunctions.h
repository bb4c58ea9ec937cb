/** @file
 * Every function that the library exports and a caller may call at any time, with arguments that do work.
 */
#pragma once

#include <string>
#include <vector>

struct ExportedFunction {
    std::string name;
    bool mustNotOverlap;  ///< with another such call: it needs the service or the values of the items
    int (*call)();        ///< @return its result; 0 when it has none
};

const std::vector<ExportedFunction>& ExportedFunctions();
