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
        return type == backup && progress == VB_MIGRATION_PROGRESS_END
                   ? "a reply that names request code 7 counts as failed, even if the archive arrived"
                   : "cleaning away the old backup failed";
    }
    if (progress == VB_MIGRATION_PROGRESS_END) {
        return "the backup could not be packed: nothing was dumped, or no room or no mount";
    }
    return type == backup ? "no link to the box, or the old backup could not be cleaned away"
                          : "no link to the box, no backup to unpack, or the last migration was cut, which is refused";
}

std::string OnFailedDump(int tvCode)
{
    const std::string items = "; that alone does not keep the items from being dumped";
    if (tvCode == 13 || tvCode == 14) {
        return "always so here: the MAC is not saved" + items;
    }
    return "the MAC counts as saved only when the service writes it now" + items;
}

std::string OnFailedRestore(int tvCode)
{
    return tvCode == 15 || tvCode == 17 ? "always so here: TV and box are of the same generation" : "";
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
        return OnFailedDump(tvCode);
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

/** Successes that say less than they seem to. */
std::string OnSuccess(const Call& call, int tvCode)
{
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
