#include "SystemInfo.h"

#include <cstdlib>
#include <cstring>

#include "Answer.h"

namespace {

constexpr int failure = -1;

std::optional<int> Described(const vbset::Here& here, int key)
{
    switch (key) {
    case SYSTEM_INFO_KEY_CI_SLOTS: return here.tvDescription.ciSlots;
    case SYSTEM_INFO_KEY_VB_MAIN_CHIP: return here.boxDescription.mainChip;
    case SYSTEM_INFO_KEY_VB_YEAR: return here.boxDescription.year;
    case SYSTEM_INFO_KEY_TV_MAIN_CHIP: return here.tvDescription.mainChip;
    case SYSTEM_INFO_KEY_TV_YEAR: return here.tvDescription.year;
    case SYSTEM_INFO_KEY_DUOLINK: return here.tvDescription.duolink;
    default: return std::nullopt;
    }
}

std::optional<std::string> DescribedText(const vbset::Here& here, int key)
{
    if (key == SYSTEM_INFO_KEY_BACKUP_PATH) return here.tvDescription.backupPath;
    if (key == SYSTEM_INFO_KEY_RESTORE_PATH) return here.tvDescription.restorePath;
    return std::nullopt;
}

/** What a fault says in place of the description: nothing when there is none, "fail" or a value. */
const char* InPlace(int key)
{
    return vbset::live::Fault(("system_info." + std::to_string(key)).c_str());
}

bool IsFail(const char* fault)
{
    return fault != nullptr && std::strcmp(fault, "fail") == 0;
}

}  // namespace

int system_info_get_value_int(int key, int* value)
{
    return vbset::Answer(failure, [&](const vbset::Here& here) {
        const std::string args = std::to_string(key);
        const char* fault = InPlace(key);
        std::optional<int> found = Described(here, key);
        if (fault != nullptr) found = vbset::FaultNumber("system_info." + args);
        if (!found || IsFail(fault) || value == nullptr) {
            return vbset::Traced("system_info_get_value_int", args, failure);
        }
        *value = *found;
        return vbset::Traced("system_info_get_value_int", args, 0, std::to_string(*value));
    });
}

int system_info_get_value_string(int key, char** value)
{
    return vbset::Answer(failure, [&](const vbset::Here& here) {
        const std::string args = std::to_string(key);
        const char* fault = InPlace(key);
        std::optional<std::string> found = DescribedText(here, key);
        if (fault != nullptr) found = fault;
        char* copy = !found || IsFail(fault) || value == nullptr ? nullptr : strdup(found->c_str());
        if (copy == nullptr) return vbset::Traced("system_info_get_value_string", args, failure);
        *value = copy;
        return vbset::Traced("system_info_get_value_string", args, 0, copy);
    });
}
