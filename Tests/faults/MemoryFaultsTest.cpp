/** Memory that runs out inside an exported function: it returns a documented result, no exception leaves it, what has
 * to be cleaned up is, nothing is lost, and when the memory is back everything works. Memory is what the library
 * allocates, and what the platform hands to it. */
#include "MemoryFaults.h"

#include <CaseName.h>
#include <VBMigration.h>

#include <algorithm>

namespace {

constexpr int kUntouched = 77;
constexpr int kRaised = 0xAA;
constexpr int kLowered = 0xFF;

int (*const kSizeQuery)(unsigned int, int*) = [](unsigned int, int* size) { return *size = 1; };
int (*const kDataQuery)(unsigned int, unsigned int*, int*, unsigned char*) =
    [](unsigned int, unsigned int*, int*, unsigned char* data) { return *data = 1, 1; };

class WithoutMemory : public MemoryFaults {
 protected:
    VB_VornBoxMigrationType_k Backup() const { return Type(0); }
    VB_VornBoxMigrationType_k Restore() const { return Type(1); }
    bool IsOfYear13() const { return ThisWorld().year == 13; }

    /** The status says what the result says, and is left alone only where no strategy was reached. */
    int Notify(VB_VornBoxMigrationType_k type, VB_VornBoxMigrationProgress_k progress)
    {
        auto status = static_cast<VB_VornBoxMigrationStatus_k>(kUntouched);
        const int result = migration_api_notify_migration_status(type, progress, &status);
        hasStrategy_ = status != kUntouched;
        EXPECT_EQ(static_cast<int>(status), !hasStrategy_ ? kUntouched : result == 0 ? 0 : 2);
        EXPECT_TRUE(hasStrategy_ || result == -1);
        return result;
    }

    void ExpectReleased()
    {
        EXPECT_EQ(PowerFlag(), kLowered);
        EXPECT_EQ(StateOfTv("tuner_mute"), 0);
        EXPECT_EQ(StateOfTv("buffer_ic"), 1);
    }

    /** A notification without any before it, with memory: it gives its result, and then nothing is held any more. */
    int NotifyAnew(VB_VornBoxMigrationType_k type, VB_VornBoxMigrationProgress_k progress)
    {
        Notify(Restore(), VB_MIGRATION_PROGRESS_END);
        int result = Notify(type, VB_MIGRATION_PROGRESS_START);
        const int ended = Notify(type, VB_MIGRATION_PROGRESS_END);
        if (progress == VB_MIGRATION_PROGRESS_END) result = ended;
        if (!IsOfYear13()) ExpectReleased();
        EXPECT_FALSE(Set().IsMounted("migration"));
        return result;
    }

    Call Start(const char* name, VB_VornBoxMigrationType_k type, int result = 0)
    {
        Call start{name, [=] { return Notify(type, VB_MIGRATION_PROGRESS_START); }, result};
        start.again = [=] { return NotifyAnew(type, VB_MIGRATION_PROGRESS_START); };
        if (!IsOfYear13()) {
            start.before = [=] { Set().WriteEeprom(0xF211, {kLowered}); };
            start.after = [=](const Went& went) {
                ExpectStarted(went);
                ExpectUnmounted(went);
                EXPECT_TRUE(!ThisWorld().hasService || went.ranOut || went.result != 0 || Set().IsMounted("migration"));
                ExpectNotFormatted();
            };
        }
        return start;
    }

    Call End(const char* name, VB_VornBoxMigrationType_k type)
    {
        Call end{name, [=] { return Notify(type, VB_MIGRATION_PROGRESS_END); }, 0};
        end.before = [=] { Notify(type, VB_MIGRATION_PROGRESS_START); };
        end.again = [=] { return NotifyAnew(type, VB_MIGRATION_PROGRESS_END); };
        if (!IsOfYear13()) {
            end.after = [=](const Went& went) {
                ExpectReleased();
                // It unmounts once when it succeeded, twice when it failed.
                const bool isUnmounted = !went.ranOut || (went.result != 0 && !went.forEver);
                EXPECT_FALSE(isUnmounted && Set().IsMounted("migration"));
                ExpectNotFormatted();
            };
        }
        return end;
    }

    /** A START that finds the power flag raised formats the partition. A restore is refused then, and what comes of the
     * unmount that belongs to this is not looked at. */
    Call StartAfterACut(const char* name, VB_VornBoxMigrationType_k type, int result)
    {
        Call start = Start(name, type, result);
        start.before = [=] { Set().WriteEeprom(0xF211, {kRaised}); };
        start.after = [=](const Went& went) {
            ExpectStarted(went);
            if (type == Backup()) ExpectUnmounted(went);
        };
        return start;
    }

    std::vector<Call> Notifications();
    std::vector<Call> WholeData();
    std::vector<Call> Items();
    std::vector<Call> Accessors();
    std::vector<Call> OtherCalls();

 private:
    VB_VornBoxMigrationType_k Type(int number) const
    {
        return static_cast<VB_VornBoxMigrationType_k>(IsOfYear13() ? number : number + 2);
    }

    void ExpectStarted(const Went& went)
    {
        if (went.result == 0) {
            EXPECT_EQ(PowerFlag(), kRaised);
        } else if (hasStrategy_) {
            ExpectReleased();
        }
    }

    /** Once memory has run out for ever, nobody can ask the service for it. */
    void ExpectUnmounted(const Went& went)
    {
        const bool isCleanedUp = went.result != 0 && hasStrategy_ && !went.forEver;
        EXPECT_FALSE(isCleanedUp && Set().IsMounted("migration"));
    }

    bool hasStrategy_ = false;  ///< when the last notification came
};

std::vector<Call> WithoutMemory::Notifications()
{
    const auto wrongType = static_cast<VB_VornBoxMigrationType_k>(9);
    const auto wrongProgress = static_cast<VB_VornBoxMigrationProgress_k>(9);
    return {
        Start("START of a backup", Backup()),
        Start("START of a restore", Restore()),
        End("END of a backup", Backup()),
        End("END of a restore", Restore()),
        {"notify, wrong type", [=] { return Notify(wrongType, VB_MIGRATION_PROGRESS_END); }, -1},
        {"notify, wrong progress", [=] { return Notify(Backup(), wrongProgress); }, -1},
        {"notify, no status",
         [=] { return migration_api_notify_migration_status(Backup(), VB_MIGRATION_PROGRESS_START, nullptr); }, -1},
    };
}

std::vector<Call> WithoutMemory::WholeData()
{
    const int year = ThisWorld().year;
    Call dump{"dump", migration_api_dump_non_volatile_data, year >= 15 && ThisWorld().hasService ? 0 : -1};
    dump.before = [=] { Set().WriteMacBlock(std::vector<unsigned char>(6, 0xFF)); };  // else there is nothing to do
    dump.again = [=] {
        dump.before();
        return dump.call();
    };
    // A second one looks below the folder that the first one chose.
    Call restore{"restore", migration_api_restore_non_volatile_data, year <= 14 ? 0 : -1, {}, [] { return 0; }};
    dump.after = restore.after = [=](const Went&) { ExpectNotFormatted(); };
    return {dump, restore};
}

std::vector<Call> WithoutMemory::Items()
{
    const auto sync = [](VB_VornBoxInfo_k direction) {
        return [=] { return migration_api_do_vornBox_picture_data_sync(direction); };
    };
    const auto setItem = [](int id) { return [=] { return migration_api_set_factory_item(id, 1); }; };
    const auto query = [](int selector) {
        return [=] { return migration_api_get_vornBox_migration_test_data(selector); };
    };
    return {
        {"picture sync into the TV", sync(VB_INFO_VB_FAC_TO_TV_SPI), 0},
        {"picture sync into the box", sync(VB_INFO_TV_SPI_TO_VB_FAC), 0},
        {"picture sync of an event", sync(VB_INFO_MIGRATION_EVENT_2), 0},
        {"store of items", setItem(1713), 0},
        {"load of items", setItem(1714), 0},
        {"unknown item", setItem(1), -1},
        {"convert",
         [] {
             char text[10];
             return migration_api_convert_factory_value_to_str(1716, 0, text);
         },
         0},
        {"test query 20", query(20), 0},
        {"test query 8", query(8), 0},
    };
}

std::vector<Call> WithoutMemory::Accessors()
{
    const int year = ThisWorld().year;
    const auto found = [](const void* object) { return object != nullptr ? 0 : -1; };
    Call make{"GetMigrationStrategy", [=] { return found(GetMigrationStrategy(year)); }, 0};
    make.before = [=] { Forget(); };
    make.after = [=](const Went& went) {  // for want of the object or of its path texts
        const Messages messages = Logged({"GetMigrationStrategy"});
        const auto failures = std::count(messages.begin(), messages.end(), Error("new failed for strategy "));
        EXPECT_EQ(failures, went.result == 0 ? 0 : 1);
    };
    Call command{"command on the service",
                 [] { return MigrationCommon::ExecuteUserShell("/usr/bin/MigrationScript.sh cleanbkup", true); },
                 0};
    command.after = [](const Went& went) { EXPECT_EQ(went.result, went.ranOut ? -1 : 0); };
    return {
        make,
        command,
        {"get_Startegy", [=] { return found(get_Startegy()); }, 0},
        {"get_vemigration_instance", [=] { return found(get_vemigration_instance()); }, 0},
        {"migration_final, nothing made", [] { return migration_final(), 0; }, 0},
        {"migration_final", [] { return migration_final(), 0; }, 0, [] { get_Startegy(); }},
        {"SetVornBoxSystemConfig", MigrationCommon::SetVornBoxSystemConfig, 0},
        {"command here", [] { return MigrationCommon::ExecuteUserShell("mkdir -p /opt/tv/x", false); }, 0},
        {"no command on the service", [] { return MigrationCommon::ExecuteUserShell(nullptr, true); }, -1},
    };
}

std::vector<Call> WithoutMemory::OtherCalls()
{
    const int boot = IsOfYear13() ? 0 : -1;
    return {
        {"free memory", migration_api_get_migration_free_memory, -2},
        {"store sync", migration_api_do_vornBox_store_data_sync, -2},
        {"mount", migration_api_mountpartition, -2},
        {"tuner", migration_api_SetResetTunerGPIO, 0},
        {"size query", [] { return migration_api_assign_callback_getsize(kSizeQuery); }, 0},
        {"no size query", [] { return migration_api_assign_callback_getsize(nullptr); }, -1},
        {"data query", [] { return migration_api_assign_callback_getdata(kDataQuery); }, 0},
        {"no data query", [] { return migration_api_assign_callback_getdata(nullptr); }, -1},
        {"funptrretSize", [] { return funptrretSize() == nullptr ? 0 : -1; }, 0},
        {"funptrretData", [] { return funptrretData() == nullptr ? 0 : -1; }, 0},
        {"SetBootPartition", [] { return migration_api_SetBootPartition(1); }, boot},
        {"GetBootPartition",
         [] {
             int partition = kUntouched;
             const int result = migration_api_GetBootPartition(&partition);
             EXPECT_EQ(partition == kUntouched, result != 0);
             return result;
         },
         boot},
    };
}

constexpr World kAlone13{13, "tv13", "box13", false};
constexpr World kAlone14{14, "tv14", "box14", false};
constexpr World kAlone15{15, "tv15-newboard", "box15", false};
constexpr World kAlone17{17, "tv17-62", "box17-62", false};
constexpr World kServed13{13, "tv13", "box13", true};
constexpr World kServed14{14, "tv14", "box14", true};
constexpr World kServed15{15, "tv15-newboard", "box15", true};  // 17 does the same with the service

class WithoutMemoryIn : public WithoutMemory, public ::testing::WithParamInterface<World> {
 protected:
    WithoutMemoryIn() { StartWorld(GetParam()); }
};

}  // namespace

class FunctionWithoutMemory : public WithoutMemoryIn {};

TEST_P(FunctionWithoutMemory, NotifiesOrFailsAndCleansUp)
{
    RunOutIn(Notifications(), "notifications");
}

TEST_P(FunctionWithoutMemory, DumpsAndRestoresOrFailsAndLosesNothing)
{
    RunOutIn(WholeData(), "dumps and restores");
}

TEST_P(FunctionWithoutMemory, ReturnsADocumentedResultWhateverItDoes)
{
    RunOutIn(Accessors(), "accessors and commands");
    RunOutIn(OtherCalls(), "all other calls");
}

INSTANTIATE_TEST_SUITE_P(Sets, FunctionWithoutMemory,
                         ::testing::Values(kAlone13, kAlone14, kAlone15, kAlone17, kServed13, kServed14, kServed15),
                         CaseName<World>);

class ItemsWithoutMemory : public WithoutMemoryIn {};

TEST_P(ItemsWithoutMemory, AreStoredLoadedAndComparedOrNotAndNotLost)
{
    RunOutIn(Items(), "stores, loads, syncs and queries");
}

INSTANTIATE_TEST_SUITE_P(Sets, ItemsWithoutMemory, ::testing::Values(kAlone15, kAlone17, kServed15), CaseName<World>);

class RecoveryWithoutMemory : public WithoutMemoryIn {};

TEST_P(RecoveryWithoutMemory, SucceedsOrFailsAndIsCleanedUp)
{
    RunOutIn({StartAfterACut("START of a backup", Backup(), 0), StartAfterACut("START of a restore", Restore(), -1)},
             "recoveries from a power cut");
}

INSTANTIATE_TEST_SUITE_P(Sets, RecoveryWithoutMemory,
                         ::testing::Values(kAlone14, kAlone15, kAlone17, kServed14, kServed15), CaseName<World>);
