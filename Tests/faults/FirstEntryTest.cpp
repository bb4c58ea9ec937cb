/** Two threads that are the first in a process to call the library, through every pair of its functions: it starts up once.
 * Calls that need the service or the values of the items must not overlap: of two, the second waits, once it has started
 * up, for the first to end. */
#include <TestSet.h>
#include <Together.h>
#include <VBMigration.h>

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>

namespace {

struct Entry {
    const char* name;
    bool mustNotOverlap;  ///< with another such call
    void (*call)();
};

void Notify()
{
    VB_VornBoxMigrationStatus_k status{};
    migration_api_notify_migration_status(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_START, &status);
}

void Convert()
{
    char text[10];
    migration_api_convert_factory_value_to_str(1716, 0, text);
}

void GetBootPartition()
{
    int partition = 0;
    migration_api_GetBootPartition(&partition);
}

const Entry kEntries[] = {
    {"get_Startegy", false, [] { get_Startegy(); }},
    {"get_vemigration_instance", false, [] { get_vemigration_instance(); }},
    {"GetMigrationStrategy", false, [] { GetMigrationStrategy(15); }},
    {"SetVornBoxSystemConfig", false, [] { MigrationCommon::SetVornBoxSystemConfig(); }},
    {"free memory", false, [] { migration_api_get_migration_free_memory(); }},
    {"notify", true, Notify},
    {"restore", true, [] { migration_api_restore_non_volatile_data(); }},
    {"dump", true, [] { migration_api_dump_non_volatile_data(); }},
    {"store sync", false, [] { migration_api_do_vornBox_store_data_sync(); }},
    {"picture sync", true, [] { migration_api_do_vornBox_picture_data_sync(VB_INFO_VB_FAC_TO_TV_SPI); }},
    {"mount", true, [] { migration_api_mountpartition(); }},
    {"set item", true, [] { migration_api_set_factory_item(1714, 1); }},
    {"convert", true, Convert},
    {"test data", true, [] { migration_api_get_vornBox_migration_test_data(20); }},
    {"size callback", false, [] { migration_api_assign_callback_getsize(nullptr); }},
    {"data callback", false, [] { migration_api_assign_callback_getdata(nullptr); }},
    {"registered size callback", false, [] { funptrretSize(); }},
    {"registered data callback", false, [] { funptrretData(); }},
    {"tuner", false, [] { migration_api_SetResetTunerGPIO(); }},
    {"set boot partition", false, [] { migration_api_SetBootPartition(1); }},
    {"get boot partition", false, GetBootPartition},
    {"command", false, [] { MigrationCommon::ExecuteUserShell("/bin/spi_init.sh mount data_sync", false); }},
};

/** In a process of its own, which has called nothing before. @return whether it ended well */
bool EnterTogether(const Entry& first, const Entry& second)
{
    const pid_t child = fork();
    if (child == 0) {
        std::atomic<bool> firstIsOver{false};
        Together(2, [&](std::size_t i) {
            if (i == 0) {
                first.call();
                firstIsOver = true;
                return;
            }
            if (first.mustNotOverlap && second.mustNotOverlap) {
                get_Startegy();
                while (!firstIsOver) std::this_thread::yield();
            }
            second.call();
        });
        std::exit(0);  // not _exit(): a thread sanitizer speaks up at the end
    }
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class FirstEntry : public OnSet {
 protected:
    FirstEntry()
    {
        Start();
        for (const char* command : {"mkdir", "spi_init.sh"}) Fault(std::string("local.") + command, "0");
    }

    /** How often the constructors of strategies and migrators have spoken. */
    std::size_t Constructions() const { return Logged({"MavoMavoStratgegy", "VEMigrationImpl"}).size(); }
};

}  // namespace

TEST_F(FirstEntry, StartsUpOnceThroughEveryPairOfFunctions)
{
    for (const Entry& first : kEntries) {
        for (const Entry& second : kEntries) {
            EXPECT_TRUE(EnterTogether(first, second)) << first.name << ", " << second.name;
            EXPECT_LE(Constructions(), 2) << first.name << ", " << second.name;  // one of each object
            Forget();
        }
    }
}
