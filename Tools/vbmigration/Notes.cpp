#include "Notes.h"

#include <VBMigration.h>

namespace command {

namespace {

/** The number that stands at a place in the argument list; -1 when there is none. */
int Argument(const Call& call, std::size_t place)
{
    const int* number = place < call.arguments.size() ? std::get_if<int>(&call.arguments[place].value) : nullptr;
    return number != nullptr ? *number : -1;
}

bool HasStrategy(int tvCode) { return tvCode == 13 || tvCode == 14 || tvCode == 15 || tvCode == 17; }

/** The last request with these words in it; null when there was none. */
const Exchange* Asked(const Call& call, const std::string& words)
{
    const Exchange* found = nullptr;
    for (const Exchange& exchange : call.exchanges) {
        if (exchange.request.find(words) != std::string::npos) {
            found = &exchange;
        }
    }
    return found;
}

std::string Answer(const Exchange& exchange)
{
    return exchange.reply ? "the service answered '" + *exchange.reply + "'" : "the service did not answer";
}

/** Which of its steps a START has failed at shows in what it asked the service for. */
std::string OnFailedBackupStart(const Call& call)
{
    const Exchange* const cleaning = Asked(call, "cleanbkup");
    return cleaning != nullptr ? "the old backup could not be cleaned away: " + Answer(*cleaning)
                               : "no link to the box: 'SerDes Not locked!' in the platform log";
}

std::string OnFailedRestoreStart(const Call& call)
{
    if (Asked(call, "UnmountMig") != nullptr) {
        const Exchange* const format = Asked(call, "spi_init.sh format migration");
        return std::string("the last migration was cut, so this restore is refused; the next START is an ordinary ") +
               "one; " +
               (format != nullptr ? "the partition was to be formatted: " + Answer(*format)
                                  : "nothing was formatted, for want of a link to the box");
    }
    if (const Exchange* const unpacking = Asked(call, "cpynuntar")) {
        return "the backup could not be unpacked, often because there is none: " + Answer(*unpacking);
    }
    const std::string noLink = "no link to the box: 'SerDes Not locked!' in the platform log";
    return call.exchanges.empty() ? noLink + "; or, with 'There was power off', the last migration was cut" : noLink;
}

std::string OnFailedBackupEnd(const Call& call)
{
    const Exchange* const packing = Asked(call, "tarncpy");
    return "the backup could not be packed: nothing was dumped, or no room or no mount" +
           (packing != nullptr ? "; " + Answer(*packing) : "");
}

/** TV code 13: an END has failed at the last step that it asked for. */
std::string OnFailedNotify13(const Call& call, bool isBackupEnd)
{
    if (!isBackupEnd) {
        const Exchange* const cleaning = Asked(call, "cleanbkup");
        return "cleaning away the old backup failed" + (cleaning != nullptr ? ": " + Answer(*cleaning) : "");
    }
    if (const Exchange* const removal = Asked(call, "rm -rf")) {
        return "the archive was sent, but could not be removed from the TV: " + Answer(*removal);
    }
    if (const Exchange* const sending = Asked(call, "7:EMPTY")) {
        return "sending the archive counts as failed: " + Answer(*sending) +
               "; a reply that names request code 7 does so even if the archive arrived";
    }
    const Exchange* const packing = Asked(call, "Bkup13");
    return "the archive could not be made" + (packing != nullptr ? ": " + Answer(*packing) : "");
}

std::string OnFailedNotify(const Call& call, int tvCode)
{
    const int backup = tvCode == 13 ? 0 : VB_MIGRATION_TYPE_BACKUP;
    const int restore = tvCode == 13 ? 1 : VB_MIGRATION_TYPE_RESTORE;
    const int type = Argument(call, 0);
    const int progress = Argument(call, 1);
    if (type != backup && type != restore) {
        return "this set knows the types " + std::to_string(backup) + " (backup) and " + std::to_string(restore) +
               " (restore)";
    }
    if (progress != VB_MIGRATION_PROGRESS_START && progress != VB_MIGRATION_PROGRESS_END) {
        return "progress is 0 (start) or 1 (end)";
    }
    if (tvCode == 13) {
        return OnFailedNotify13(call, type == backup && progress == VB_MIGRATION_PROGRESS_END);
    }
    if (progress == VB_MIGRATION_PROGRESS_END) {
        return OnFailedBackupEnd(call);
    }
    return type == backup ? OnFailedBackupStart(call) : OnFailedRestoreStart(call);
}

bool LacksPictureItems(const Call& call)
{
    const bool* const areWritten = call.out.empty() ? nullptr : std::get_if<bool>(&call.out.front().value);
    return areWritten != nullptr && !*areWritten;
}

std::string OnDumpWithoutItems(const Call& call)
{
    return std::string(call.result == 0 ? "the MAC was saved, the picture items were not"
                                        : "the picture items were not saved, whatever became of the MAC") +
           ": see the lines before 'Picture data could not be dumped' in the platform log, else 'mkdir' or "
           "'Mount Partition failed'";
}

std::string OnFailedDump(const Call& call, int tvCode)
{
    if (LacksPictureItems(call)) {
        return OnDumpWithoutItems(call);
    }
    const std::string items = "; the picture items were saved all the same";
    return tvCode == 13 || tvCode == 14 ? "always so here: the MAC is not saved" + items
                                        : "the MAC counts as saved only when the service writes it now" + items;
}

std::string OnFailedRestore(int tvCode)
{
    return tvCode == 15 || tvCode == 17
               ? "always so here: TV and box are of the same generation"
               : "see the platform log: before 'MAC data could not be Restored' why nothing was stored, before "
                 "'Picture data could not be Restored' why some items were not, else 'Mount Partition failed'; "
                 "docs/messages.md explains them";
}

std::string OnFailure(const Call& call, int tvCode)
{
    const std::string& function = call.function;
    const bool isPictures = function == "migration_api_set_factory_item" ||
                            function == "migration_api_convert_factory_value_to_str" ||
                            function == "migration_api_get_vornBox_migration_test_data";
    if (function.rfind("migration_api_", 0) == 0 && !isPictures && !HasStrategy(tvCode)) {
        return "no strategy for TV code " + std::to_string(tvCode);
    }
    if (function == "migration_api_notify_migration_status") {
        return OnFailedNotify(call, tvCode);
    }
    if (function == "migration_api_dump_non_volatile_data") {
        return OnFailedDump(call, tvCode);
    }
    if (function == "migration_api_restore_non_volatile_data") {
        return OnFailedRestore(tvCode);
    }
    if (function == "migration_api_set_factory_item") {
        const int id = Argument(call, 0);
        const bool known = id == 1713 || id == 1714 || id == 1715 || id == 1778;
        return !known || Argument(call, 1) != 1 ? "1713 stores, 1714, 1715 and 1778 load, each with value 1" : "";
    }
    if (function == "migration_api_convert_factory_value_to_str") {
        return "items are 1716 to 1759, on a 62-item set also 1779 to 1796";
    }
    if (function == "migration_api_SetBootPartition" || function == "migration_api_GetBootPartition") {
        return tvCode != 13 ? "only TV code 13 has boot partitions to select" : "";
    }
    return {};
}

/** What makes a success none: the library counts a request without an answer as done. */
std::string OnNoAnswer(const Call& call)
{
    // A START always has something to ask for.
    if (call.function == "migration_api_notify_migration_status" && call.exchanges.empty() &&
        Argument(call, 1) == VB_MIGRATION_PROGRESS_START) {
        return "reads as success, but no request could be sent: there is no bus";
    }
    std::size_t missing = 0;
    for (const Exchange& exchange : call.exchanges) {
        missing += exchange.reply ? 0 : 1;
    }
    return missing == 0 ? ""
                        : "reads as success, but the service did not answer " + std::to_string(missing) + " of " +
                              std::to_string(call.exchanges.size()) + " requests";
}

/** Successes that say less than they seem to. */
std::string OnSuccess(const Call& call, int tvCode)
{
    if (LacksPictureItems(call)) {
        return OnDumpWithoutItems(call);
    }
    const std::string noAnswer = OnNoAnswer(call);
    if (!noAnswer.empty()) {
        return noAnswer;
    }
    const int first = Argument(call, 0);
    if (call.function == "migration_api_do_vornBox_picture_data_sync" && first != 0 && first != 1) {
        return first == 2 || first == 3 ? "an event: accepted, no work" : "no such direction: ignored";
    }
    if (call.function == "migration_api_get_vornBox_migration_test_data" && first != 20) {
        return "says only that the service file exists";
    }
    if (call.function == "migration_api_SetResetTunerGPIO") {
        return "always so; it has no effect";
    }
    if (call.function == "migration_api_notify_migration_status" && tvCode == 13 && first == 1 &&
        Argument(call, 1) == VB_MIGRATION_PROGRESS_START) {
        return "so even when no archive could be fetched or unpacked";
    }
    return {};
}

}  // namespace

std::string NoteOn(const Call& call, int tvCode)
{
    switch (call.result.value_or(0)) {
        case 0: return OnSuccess(call, tvCode);
        case -2: return "this library does not support it";
        default: return OnFailure(call, tvCode);
    }
}

}  // namespace command
