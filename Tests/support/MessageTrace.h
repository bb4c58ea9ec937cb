/** @file
 * Messages among the interactions of a set. For test programs that have MessageTrace.cpp among their sources: it puts
 * itself between the library and the platform log, and traces each message as of the kind "message".
 */
#pragma once

#include "TestSet.h"

#include <string>
#include <vector>

/** What happened, in order: the messages of some functions (of all when none is named) in quotes, and the calls of all
 * interactions with the set. */
std::vector<std::string> Happened(const std::vector<Interaction>& trace, const std::vector<std::string>& functions = {});

/** The last steps of those that happened, all when there are no more. */
std::vector<std::string> Last(std::size_t count, const std::vector<std::string>& happened);
