/** @file
 * What the platform's functions have in common: each answers without letting an exception or a change of errno out,
 * and is traced with what it was given and what it gave.
 */
#pragma once

#include <climits>
#include <optional>
#include <string>

#include "Here.h"
#include "Live.h"
#include "Text.h"

namespace vbset {

/** Runs the body of a platform function.
 * @param body  given the set that this process runs on
 * @return what the body returns, @p failure outside a set or when memory runs out */
template <typename Result, typename Body>
Result Answer(Result failure, Body&& body) noexcept
{
    const ErrnoKeeper keeper;
    try {
        const Here* here = Current();
        return here == nullptr ? failure : body(*here);
    } catch (const std::exception&) {
        return failure;
    }
}

/** Traces a platform call; the result is the number returned and, after a blank, what else the call gave. */
template <typename Number>
Number Traced(const char* call, const std::string& args, Number result, const std::string& given = "")
{
    live::Trace("platform", call, args, std::to_string(result) + (given.empty() ? "" : " " + given));
    return result;
}

/** The value of a fault that is a number. */
inline std::optional<int> FaultNumber(const std::string& key)
{
    const char* text = live::Fault(key.c_str());
    const auto number = text == nullptr ? std::nullopt : ParseInteger(text);
    if (!number || *number < INT_MIN || *number > INT_MAX) return std::nullopt;
    return static_cast<int>(*number);
}

}  // namespace vbset
