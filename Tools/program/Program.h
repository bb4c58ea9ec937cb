/** @file
 * Running another program to its end, without a shell.
 */
#pragma once

#include <string>
#include <vector>

namespace program {

/** How a program ended and what it said. */
struct Ended {
    int status = 0;  ///< exit status, 128 and the signal when one ended it
    std::string output;
    std::string errors;
};

/** Runs a program and waits for it. Its standard input is empty.
 * @param arguments  the program, by path or by a name found along PATH, and its arguments
 * @throw std::system_error when it cannot be started */
Ended Run(const std::vector<std::string>& arguments);

}  // namespace program
