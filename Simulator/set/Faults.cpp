#include "Faults.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstring>
#include <numeric>
#include <utility>
#include <vector>

#include "Live.h"
#include "Set.h"
#include "Text.h"

namespace vbset {

namespace {

using View = std::string_view;
using Test = bool (*)(View);

bool IsText(View text) { return std::none_of(text.begin(), text.end(), [](char c) { return c == '\n' || c == '\0'; }); }
bool IsName(View text) { return !text.empty() && text.find('=') == View::npos && IsText(text); }

bool IsNumberFrom(View text, long long least)
{
    const auto number = ParseInteger(text);
    return number && *number >= least && *number <= INT_MAX;
}
bool IsNumber(View text) { return IsNumberFrom(text, INT_MIN); }
bool IsCount(View text) { return IsNumberFrom(text, 0); }
bool IsNegative(View text) { return IsNumber(text) && text.front() == '-'; }
bool IsPolls(View text) { return text == "never" || IsCount(text); }

bool IsUpperHex(View text)
{
    return !text.empty() && text.find_first_not_of("0123456789ABCDEF") == View::npos;
}
bool IsItem(View text) { return IsUpperHex(text) && text.size() >= 4 && text.size() <= 8; }
bool IsRequest(View text) { return IsUpperHex(text) && text.size() == 8; }
bool IsBytes(View text) { return ParseHex(text).has_value(); }

bool IsUid(View text) { return text == "*" || IsCount(text); }
bool IsFail(View text) { return text == "fail"; }
bool IsStatus(View text) { return text == "kill" || (IsCount(text) && ParseInteger(text) <= 255); }
bool IsServiceState(View text)
{
    return text == "absent" || text == "silent" || text == "dies" || text == "error";
}
bool IsPartition(View text) { return text == "migration" || text == "data_sync" || text == "root"; }

bool IsCommand(View text)
{
    for (const View program : {"spi_init.sh", "MigrationScript.sh", "mkdir", "rm"}) {
        const View rest = text.substr(std::min(program.size(), text.size()));
        if (text.substr(0, program.size()) == program && (rest.empty() || rest.front() == '.')) return IsName(text);
    }
    return false;
}

bool IsErrno(View text) { return live::ErrnoByName(std::string(text).c_str()) != 0; }

/** @p text is @p word, a colon and a number. */
bool IsLimit(View text, View word)
{
    return text.size() > word.size() && text.substr(0, word.size()) == word && text[word.size()] == ':' &&
           IsCount(text.substr(word.size() + 1));
}
bool IsReadFault(View text) { return IsErrno(text) || IsLimit(text, "short"); }

/** A write that takes nothing and does not fail would be repeated for ever. */
bool IsWriteFault(View text) { return text != "short:0" && (IsReadFault(text) || IsLimit(text, "full")); }

/** A kind of fault: its key is before, what it is about (if anything), after. */
struct Kind {
    View before;
    Test about;
    View after;
    Test value;
    const char* expected;
    const char* form;
};

constexpr std::array kinds = {
    Kind{"serdes.polls", nullptr, "", IsPolls, "a number of polls or \"never\"", "serdes.polls"},
    Kind{"eeprom.migrated_mac", nullptr, "", IsNumber, "a number", "eeprom.migrated_mac"},
    Kind{"eeprom.read.", IsItem, "", IsNumber, "a number", "eeprom.read.ITEM, ITEM as in F211"},
    Kind{"eeprom.write.", IsItem, "", IsNumber, "a number", "eeprom.write.ITEM, ITEM as in F211"},
    Kind{"eeprom.value.", IsItem, "", IsBytes, "bytes as hex digits", "eeprom.value.ITEM, ITEM as in F211"},
    Kind{"system_info.", IsCount, "", IsText, "\"fail\" or a value", "system_info.KEY, KEY a number"},
    Kind{"factory.size.", IsUid, "", IsNumber, "a number", "factory.size.UID, UID a number or *"},
    Kind{"factory.get.", IsUid, "", IsNumber, "a number", "factory.get.UID, UID a number or *"},
    Kind{"factory.set.", IsUid, "", IsNumber, "a number", "factory.set.UID, UID a number or *"},
    Kind{"factory.value.", IsUid, "", IsFail, "\"fail\"", "factory.value.UID, UID a number or *"},
    Kind{"micom.mac", nullptr, "", IsNegative, "a negative number", "micom.mac"},
    Kind{"encrypt.import", nullptr, "", IsNumber, "a number", "encrypt.import"},
    Kind{"encrypt.size", nullptr, "", IsNumber, "a number", "encrypt.size"},
    Kind{"encrypt.length", nullptr, "", IsNumber, "a number", "encrypt.length"},
    Kind{"local.", IsCommand, "", IsStatus, "an exit status (0 to 255) or \"kill\"",
         "local.COMMAND, as in local.spi_init.sh.mount.data_sync"},
    Kind{"service.state", nullptr, "", IsServiceState, "absent, silent, dies or error", "service.state"},
    Kind{"service.delay", nullptr, "", IsCount, "a number of milliseconds", "service.delay"},
    Kind{"service.reply.", IsCount, "", IsText, "a text of one line", "service.reply.CODE, CODE a number"},
    Kind{"service.", IsCommand, "", IsStatus, "an exit status (0 to 255) or \"kill\"",
         "service.COMMAND, as in service.spi_init.sh.mount.migration; or service.state, service.delay"},
    Kind{"path.", IsName, "", IsErrno, "the name of an error, such as EACCES", "path.PATH"},
    Kind{"read.", IsName, "", IsReadFault, "short:N or the name of an error", "read.PATH"},
    Kind{"write.", IsName, "", IsWriteFault, "short:N (N from 1), full:N or the name of an error", "write.PATH"},
    Kind{"fsync.", IsName, "", IsErrno, "the name of an error, such as EIO", "fsync.PATH"},
    Kind{"flash.", IsPartition, ".free", IsCount, "a number of bytes",
         "flash.migration.free, flash.data_sync.free or flash.root.free"},
    Kind{"ioctl.", IsRequest, "", IsErrno, "the name of an error, such as EIO",
         "ioctl.REQUEST, REQUEST as in 40044916"},
};

bool IsOfKind(View key, const Kind& kind)
{
    const std::size_t fixed = kind.before.size() + kind.after.size();
    if (key.size() < fixed || key.substr(0, kind.before.size()) != kind.before) return false;
    if (key.substr(key.size() - kind.after.size()) != kind.after) return false;
    const View about = key.substr(kind.before.size(), key.size() - fixed);
    return kind.about == nullptr ? about.empty() : kind.about(about);
}

/** How many letters have to be added, left out or changed to make one word of another. */
std::size_t Distance(View from, View to)
{
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < to.size(); ++j) {
            const std::size_t changed = diagonal + (from[i] == to[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, diagonal + 1, row[j] + 1});
        }
    }
    return row.back();
}

/** What may have been meant by a key that is none; empty when nothing is near. */
std::string Hint(View key)
{
    constexpr std::size_t near = 2;
    for (const Kind& kind : kinds) {
        if (kind.about != nullptr && key.substr(0, kind.before.size()) == kind.before) {
            return std::string("; it is written ") + kind.form;
        }
    }
    for (const Kind& kind : kinds) {
        const View beginning = kind.about == nullptr ? key : key.substr(0, kind.before.size());
        if (Distance(beginning, kind.before) <= near) return std::string("; did you mean ") + kind.form + "?";
    }
    return {};
}

}  // namespace

void CheckFault(const std::string& key, const std::string& value)
{
    const auto* kind = std::find_if(kinds.begin(), kinds.end(), [&](const Kind& k) { return IsOfKind(key, k); });
    if (kind == kinds.end()) throw Error("'" + key + "' is no fault of a set" + Hint(key));
    if (!kind->value(value)) throw Error("fault '" + key + "' is '" + value + "', it has to be " + kind->expected);
}

FaultMap ParseFaults(View text)
{
    FaultMap faults;
    while (!text.empty()) {
        const View line = text.substr(0, text.find('\n'));
        text.remove_prefix(std::min(line.size() + 1, text.size()));
        const std::size_t equals = line.find('=');
        if (equals != View::npos) faults[std::string(line.substr(0, equals))] = line.substr(equals + 1);
    }
    return faults;
}

std::string FaultsText(const FaultMap& faults)
{
    std::string text;
    for (const auto& [key, value] : faults) text += key + '=' + value + '\n';
    return text;
}

int live::ErrnoByName(const char* name) noexcept
{
    constexpr int lastErrno = 133;
    for (int number = 1; number <= lastErrno; ++number) {
        const char* known = strerrorname_np(number);
        if (known != nullptr && std::strcmp(known, name) == 0) return number;
    }
    return 0;
}

}  // namespace vbset
