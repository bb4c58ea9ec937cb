#include "Words.h"

#include <VBMigration.h>

#include <charconv>

namespace command {

const Words kProgresses("progress", {{"start", VB_MIGRATION_PROGRESS_START}, {"end", VB_MIGRATION_PROGRESS_END}});
const Words kDirections("direction", {{"box-to-tv", VB_INFO_VB_FAC_TO_TV_SPI},
                                      {"tv-to-box", VB_INFO_TV_SPI_TO_VB_FAC},
                                      {"event-2", VB_INFO_MIGRATION_EVENT_2},
                                      {"event-3", VB_INFO_MIGRATION_EVENT_3}});
const Words kTestCodes("test code", {{"white-balance", 8}, {"mga", 9}, {"cga", 10}, {"verify", 20}});
const Words kItemCommands("item id", {{"store", 1713}, {"load", 1714}});
const Words kStatuses("status",
                      {{"success", VB_MIGRATION_STATUS_SUCCESS}, {"unknown error", VB_MIGRATION_STATUS_UNKNOWN_ERROR}});
const Words kNumbers("number", {});

const Words& TypesFor(int tvCode)
{
    static const Words types("type", {{"backup", VB_MIGRATION_TYPE_BACKUP}, {"restore", VB_MIGRATION_TYPE_RESTORE}});
    static const Words typesOf13("type", {{"backup", 0}, {"restore", 1}});
    return tvCode == 13 ? typesOf13 : types;
}

std::optional<int> Words::Value(const std::string& text) const
{
    for (const Name& name : names_) {
        if (text == name.name) {
            return name.value;
        }
    }
    const bool hexadecimal = text.rfind("0x", 0) == 0 && text.size() > 2 && text[2] != '-';
    int value = 0;
    const char* begin = text.c_str() + (hexadecimal ? 2 : 0);
    const char* end = text.c_str() + text.size();
    const auto [rest, error] = std::from_chars(begin, end, value, hexadecimal ? 16 : 10);
    if (error != std::errc() || rest != end) {
        return std::nullopt;
    }
    return value;
}

std::string Words::NameOf(int value) const
{
    for (const Name& name : names_) {
        if (value == name.value) {
            return name.name;
        }
    }
    return {};
}

std::string Words::Complaint(const std::string& text) const
{
    if (Value(text)) {
        return {};
    }
    return "'" + text + "' is no " + what_ + ": give " + Help();
}

std::string Words::Help() const
{
    std::string help;
    for (const Name& name : names_) {
        help += std::string(name.name) + ", ";
    }
    return help.empty() ? "a whole number of 32 bits" : help.substr(0, help.size() - 2) + " or a number";
}

}  // namespace command
