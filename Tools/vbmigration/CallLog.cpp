#include "CallLog.h"

#include <unistd.h>

#include <cstdio>
#include <nlohmann/json.hpp>

#include "Notes.h"

namespace command {

namespace {

using Json = nlohmann::ordered_json;

double MillisecondsSince(std::chrono::steady_clock::time_point begin)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

std::string Text(const Field& field)
{
    std::string text = field.name + "=";
    if (const int* number = std::get_if<int>(&field.value)) {
        text += std::to_string(*number);
    } else if (std::holds_alternative<bool>(field.value)) {
        return text + field.meaning;
    } else {
        text += std::get<std::string>(field.value);
    }
    return field.meaning.empty() ? text : text + " " + field.meaning;
}

std::string Text(const std::vector<Field>& fields)
{
    std::string text;
    for (const Field& field : fields) {
        text += (text.empty() ? "" : ", ") + Text(field);
    }
    return text;
}

const char* Meaning(int result)
{
    switch (result) {
        case 0: return "ok";
        case -2: return "unsupported";
        default: return "failed";
    }
}

std::string Heading(const Call& call) { return call.function + "(" + Text(call.arguments) + ")"; }

std::string Line(const Call& call)
{
    const int result = call.result.value_or(0);
    char tail[64];
    std::snprintf(tail, sizeof tail, ", %.3f ms", call.milliseconds);
    std::string line = Heading(call) + " -> " + std::to_string(result) + " " + Meaning(result);
    if (!call.out.empty()) {
        line += ", " + Text(call.out);
    }
    line += tail;
    return call.note.empty() ? line : line + " (" + call.note + ")";
}

Json AsJson(const std::vector<Field>& fields)
{
    Json object = Json::object();
    for (const Field& field : fields) {
        std::visit([&](const auto& value) { object[field.name] = value; }, field.value);
    }
    return object;
}

Json AsJson(const Summary& summary)
{
    Json object = {{"summary", summary.name}, {"verdict", summary.verdict}};
    object.update(AsJson(summary.fields));
    return object;
}

std::string AsJson(const std::vector<Call>& calls, const std::optional<Summary>& summary)
{
    Json array = Json::array();
    for (const Call& call : calls) {
        Json object = {{"function", call.function}, {"arguments", AsJson(call.arguments)}};
        object["result"] = call.result ? Json(*call.result) : Json(nullptr);
        object["out"] = AsJson(call.out);
        object["milliseconds"] = call.milliseconds;
        if (!call.note.empty()) {
            object["note"] = call.note;
        }
        array.push_back(object);
    }
    if (summary) {
        array.push_back(AsJson(*summary));
    }
    // What a function gave may be any bytes; a reader of JSON gets the ones that are text.
    return array.dump(2, ' ', false, Json::error_handler_t::replace);
}

void PrintLine(const std::string& line)
{
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
}

}  // namespace

void CallLog::Begin(const std::string& function, std::vector<Field> arguments)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    calls_.push_back({function, std::move(arguments), {}, {}, 0, {}, {}});
    exchangesBefore_ = CountOfExchanges();
    if (timeout_ > 0) {
        GiveUp();
    }
    begun_ = std::chrono::steady_clock::now();
}

void CallLog::Finish(int result, std::vector<Field> out, int tvCode)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    Call& call = calls_.back();
    call.milliseconds = MillisecondsSince(begun_);
    call.result = result;
    call.out = std::move(out);
    call.exchanges = ExchangesSince(exchangesBefore_);
    call.note = NoteOn(call, tvCode);
    if (format_ == Format::Lines) {
        PrintLine(Line(call));
    }
}

void CallLog::SumUp(Summary (*judge)(const std::vector<Call>&))
{
    const std::lock_guard<std::mutex> lock(mutex_);
    summary_ = judge(calls_);
    if (format_ == Format::Lines) {
        PrintLine(summary_->name + ": " + summary_->verdict + ": " + summary_->details);
    }
}

void CallLog::End()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    if (format_ == Format::Json) {
        PrintLine(AsJson(calls_, summary_));
    }
}

void CallLog::TimeIsUp(double seconds)
{
    const std::lock_guard<std::mutex> lock(mutex_);
    timeout_ = seconds;
    if (!calls_.empty() && !calls_.back().result) {
        calls_.back().milliseconds = MillisecondsSince(begun_);
        GiveUp();
    }
}

void CallLog::GiveUp()
{
    if (format_ == Format::Json) {
        PrintLine(AsJson(calls_, summary_));
    }
    std::fprintf(stderr, "vbmigration: timeout: %g s have passed, still waiting in %s\n", timeout_,
                 Heading(calls_.back()).c_str());
    // The thread that calls cannot be stopped, and what it uses must not be torn down under it.
    _exit(kExitTimedOut);
}

ExitStatus CallLog::Status() const
{
    if (summary_) {
        return summary_->status;
    }
    ExitStatus status = kExitOk;
    for (const Call& call : calls_) {
        if (call.result == -2 && status == kExitOk) {
            status = kExitUnsupported;
        } else if (call.result != 0 && call.result != -2) {
            status = kExitCallFailed;
        }
    }
    return status;
}

}  // namespace command
