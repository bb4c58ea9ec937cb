// A caller in C++: the header with every warning on, and everything that only C++ callers have.

#include <VBMigration.h>

#include <cstdint>
#include <type_traits>

template <class Enumeration>
constexpr bool is32Bits = std::is_same_v<std::underlying_type_t<Enumeration>, std::int32_t>;

static_assert(is32Bits<VB_VornBoxMigrationType_k> && is32Bits<VB_VornBoxMigrationProgress_k>);
static_assert(is32Bits<VB_VornBoxMigrationStatus_k> && is32Bits<VB_VornBoxInfo_k>);
static_assert(std::is_same_v<decltype(&GetMigrationStrategy), MigrationStrategy* (*)(int)>);
static_assert(std::is_same_v<decltype(&migration_final), void (*)()>);
static_assert(std::is_same_v<decltype(&MigrationCommon::SetVornBoxSystemConfig), int (*)()>);
static_assert(std::is_same_v<decltype(&MigrationCommon::ExecuteUserShell), int (*)(const char*, bool)>);
static_assert(std::is_same_v<decltype(MigrationCommon::miTVYear), int>);
static_assert(std::is_same_v<decltype(MigrationCommon::miVBYear), int>);
static_assert(std::is_same_v<decltype(MigrationCommon::miTVMainChip), int>);
static_assert(std::is_same_v<decltype(MigrationCommon::miVBMainChip), int>);
static_assert(std::is_same_v<decltype(MigrationCommon::bDLSupported), bool>);

int main()
{
    const bool isUnknown = MigrationCommon::miTVYear == -1 && MigrationCommon::miVBYear == -1 &&
                           MigrationCommon::miTVMainChip == -1 && MigrationCommon::miVBMainChip == -1 &&
                           !MigrationCommon::bDLSupported;
    // This caller runs on no set, so the platform knows no key.
    const bool isWithoutPlatform =
        MigrationCommon::SetVornBoxSystemConfig() == -1 && GetMigrationStrategy(-1) == nullptr;
    const bool runsCommands = MigrationCommon::ExecuteUserShell("exit 3", false) == 3;
    migration_final();
    return isUnknown && isWithoutPlatform && runsCommands ? 0 : 1;
}
