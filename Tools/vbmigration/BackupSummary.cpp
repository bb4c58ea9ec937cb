#include "BackupSummary.h"

#include <algorithm>

#include "PictureItems.h"

namespace command {

namespace {

constexpr const char* kNotify = "migration_api_notify_migration_status";
constexpr const char* kDump = "migration_api_dump_non_volatile_data";

const Field* FindOut(const Call& call, const std::string& name)
{
    const auto found =
        std::find_if(call.out.begin(), call.out.end(), [&](const Field& field) { return field.name == name; });
    return found == call.out.end() ? nullptr : &*found;
}

/** What the calls of a backup tell together. */
struct Facts {
    std::vector<std::string> failed;  ///< the notifications that failed
    bool pictureItems = false;
    int items = 0;
    int bytes = 0;
    int requests = 0;
    int answered = 0;

    /** A backup consists of requests: without any there was no bus to send them on. */
    bool HasService() const { return requests > 0 && answered == requests; }
};

template <class Value>
Value OutOr(const Call& call, const char* name, Value otherwise)
{
    const Field* const field = FindOut(call, name);
    const Value* const value = field != nullptr ? std::get_if<Value>(&field->value) : nullptr;
    return value != nullptr ? *value : otherwise;
}

Facts Gather(const std::vector<Call>& calls)
{
    Facts facts;
    for (const Call& call : calls) {
        for (const Exchange& exchange : call.exchanges) {
            ++facts.requests;
            facts.answered += exchange.reply ? 1 : 0;
        }
        if (call.function == kNotify && call.result != 0) {
            facts.failed.push_back(call.arguments.back().meaning == "start" ? "START" : "END");
        }
        if (call.function == kDump) {
            facts.pictureItems = OutOr(call, "picture_items", false);
            facts.items = OutOr(call, "items", 0);
            facts.bytes = OutOr(call, "bytes", 0);
        }
    }
    return facts;
}

void Say(std::string& text, const std::string& more) { text += (text.empty() ? "" : "; ") + more; }

/** All that is wrong, the reason for the verdict first. */
std::string Complaints(const Facts& facts)
{
    std::string text;
    for (const std::string& notification : facts.failed) {
        Say(text, notification + " failed");
    }
    if (facts.requests == 0 && facts.failed.empty()) {
        Say(text, "no request could be sent: there is no bus; results of 0 say nothing then");
    } else if (facts.answered < facts.requests) {
        Say(text, std::to_string(facts.requests - facts.answered) + " of " + std::to_string(facts.requests) +
                      " requests had no answer; results of 0 say nothing then");
    }
    if (!facts.pictureItems) {
        Say(text, "not all " + std::to_string(ExpectedItems()) + " picture items were saved");
    }
    return text;
}

}  // namespace

Summary SumUpBackup(const std::vector<Call>& calls)
{
    const Facts facts = Gather(calls);
    Summary summary;
    summary.name = "backup";
    summary.fields = {{"picture_items", facts.pictureItems, {}}, {"items", facts.items, {}},
                      {"bytes", facts.bytes, {}},                {"service", facts.HasService(), {}},
                      {"requests", facts.requests, {}},          {"answered", facts.answered, {}}};
    summary.details = Complaints(facts);
    if (!facts.failed.empty()) {
        summary.verdict = "failed";
        summary.status = kExitCallFailed;
    } else if (!facts.HasService()) {
        summary.verdict = "service did not answer";
        summary.status = kExitNoService;
    } else if (!facts.pictureItems) {
        summary.verdict = "items missing";
        summary.status = kExitItemsMissing;
    } else {
        summary.verdict = "complete";
        summary.details = std::to_string(facts.items) + " picture items in " + std::to_string(facts.bytes) +
                          " bytes; the service answered all " + std::to_string(facts.requests) + " requests";
    }
    return summary;
}

}  // namespace command
