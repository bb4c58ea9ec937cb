#include <algorithm>
#include <iterator>

#include "Flows.h"

namespace powercut {

namespace {

constexpr struct {
    Flow flow;
    const char* name;
} names[] = {
    {Flow::Backup, "backup"},       {Flow::Restore, "restore"},     {Flow::RestoreAlone, "restorealone"},
    {Flow::SyncToFile, "sync0"},    {Flow::SyncToBox, "sync1"},     {Flow::MountedSyncToFile, "mountedsync0"},
    {Flow::MountedSyncToBox, "mountedsync1"}, {Flow::Store, "store"}, {Flow::Load, "load"},
};

}  // namespace

const char* NameOf(Flow flow)
{
    return std::find_if(std::begin(names), std::end(names), [=](const auto& entry) { return entry.flow == flow; })->name;
}

std::optional<Flow> FlowOf(const std::string& name)
{
    const auto* const found =
        std::find_if(std::begin(names), std::end(names), [&](const auto& entry) { return entry.name == name; });
    return found == std::end(names) ? std::nullopt : std::optional(found->flow);
}

bool Results::operator==(const Results& other) const
{
    return count == other.count && std::equal(values, values + count, other.values);
}

std::string Results::Text() const
{
    std::string text;
    for (int i = 0; i < count; ++i) text += (i > 0 ? " " : "") + std::to_string(values[i]);
    return text;
}

}  // namespace powercut
