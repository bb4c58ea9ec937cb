/** @file
 * A set for one test, in a directory whose name is spelled as the set spells it.
 */
#pragma once

#include "TestSet.h"

namespace vbset {

namespace fs = std::filesystem;

/** What a call says when it refuses; empty when it does not. */
template <typename Call>
std::string Refusal(Call&& call)
{
    try {
        call();
    } catch (const Error& error) {
        return error.what();
    }
    return "";
}

class OnASet : public OnSet {
 protected:
    vbset::Set& Start(const std::string& tv, const std::string& box)
    {
        OnSet::Start(tv, box);
        Set().BeginRun("test");
        return Set();
    }

    std::string TraceText() const { return ReadFile(directory_ / "tv/trace.jsonl"); }

    const fs::path directory_ = fs::canonical(Temporary());
};

}  // namespace vbset
