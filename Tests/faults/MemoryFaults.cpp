#include "MemoryFaults.h"

#include <sys/mman.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <new>
#include <set>

#include "AllocationFailure.h"
#include "Child.h"
#include "LegacyBackup.h"
#include "MigrationStrategy.h"
#include "PlatformPath.h"
#include "Soon.h"
#include "Try.h"
#include "VBMigration.h"
#include "VEMigration.h"

namespace fs = std::filesystem;

namespace {

constexpr long kNever = LONG_MAX;
constexpr long kStride = 11;  ///< of the places that stand for all

constexpr const char* kServiceFile = "/opt/tv/migration/service/PictureData.dat";
constexpr const char* kBackupFile = "/opt/tv/migration/korvane_vbmg/SP_VB_Data/PictureMigrationData.dat";

/** Memory that a child writes and its parent reads. */
template <class Contents>
class Shared {
 public:
    Shared()
    {
        void* const memory =
            mmap(nullptr, sizeof(Contents), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) throw std::bad_alloc();
        contents_ = new (memory) Contents();
    }
    ~Shared() { munmap(contents_, sizeof(Contents)); }
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;
    Contents& operator*() { return *contents_; }
    Contents* operator->() { return contents_; }

 private:
    Contents* contents_;
};

/** Texts that live as long as the program. */
const char* Kept(const std::string& text)
{
    static std::set<std::string> texts;
    return texts.insert(text).first->c_str();
}

/** The picture migrator that a strategy holds: its first member after the virtual table. */
VEMigration* MigratorOf(const MigrationStrategy* strategy)
{
    VEMigration* migrator = nullptr;
    std::memcpy(&migrator, reinterpret_cast<const char*>(strategy) + sizeof(void*), sizeof migrator);
    return migrator;
}

/** Whether everything has been made at the first use. A migrator without its state, and a strategy that was made when
 * there was no migrator, stay so. */
bool IsWhole()
{
    VEMigration* const migrator = get_vemigration_instance();
    const MigrationStrategy* const strategy = get_Startegy();
    return migrator != nullptr && migrator->FlagCreate() && strategy != nullptr && MigratorOf(strategy) == migrator;
}

/** What a process holds, in numbers that can be compared with those of another one. */
struct Held {
    static Held Now()
    {
        Held now;
        now.blocks = allocation_failure::Live();
        const Resources resources = Resources::Now();
        now.descriptors = static_cast<int>(resources.descriptors.size());
        now.children = resources.children;
        now.threads = resources.threads;
        now.mappings = resources.mappings;
        now.temporaryFiles = resources.temporaryFiles;
        return now;
    }

    /** What GLib's threads are about to give back may still be held for a moment. */
    static Held NowOrSoon(const Held& elsewhere)
    {
        Held held;
        Soon([&] {
            held = Now();
            return held.descriptors <= elsewhere.descriptors && held.threads <= elsewhere.threads;
        });
        return held;
    }

    long blocks = 0;
    int descriptors = 0;
    int children = 0;
    int threads = 0;
    int mappings = 0;
    int temporaryFiles = 0;
};

void ExpectNoMore(const Held& held, const Held& elsewhere)
{
    EXPECT_LE(held.blocks, elsewhere.blocks);
    EXPECT_LE(held.descriptors, elsewhere.descriptors) << Resources::Now();
    EXPECT_LE(held.children, elsewhere.children);
    EXPECT_LE(held.threads, elsewhere.threads);
    EXPECT_LE(held.mappings, elsewhere.mappings);
    EXPECT_LE(held.temporaryFiles, elsewhere.temporaryFiles);
}

}  // namespace

/** How a call went in a process of its own, and what that held when it had made the same call again. */
struct MemoryFaults::Seen {
    long asked = 0;  ///< allocations
    bool ranOut = false;
    int again = 0;
    Held held;
};

std::ostream& operator<<(std::ostream& out, const World& world)
{
    return out << "TV " << world.year << (world.hasService ? " with the service" : "");
}

void MemoryFaults::StartWorld(const World& world)
{
    world_ = world;
    Start(world.tv, world.box);
    temporaryFiles_.emplace();
    if (world.hasService) StartService();
    // Scripts that are of no account here end at once. Those that mount, unmount and format are run, by the service.
    Fault("local.spi_init.sh", world.hasService ? "1" : "0");
    for (const char* work : {"cleanbkup", "tarncpy", "cpynuntar", "Bkup13", "Restor13"}) {
        Fault(std::string("service.MigrationScript.sh.") + work, "0");
    }
    for (const char* transfer : {"6", "7"}) Fault(std::string("service.reply.") + transfer, "0:0:0");
    // Where the platform names the paths, its texts are memory too. A restore finds no folder at the second.
    Fault("system_info.247", "/opt/tv/migration/korvane_vbmg/");
    if (world.year == 14) Fault("system_info.248", "/opt/tv/elsewhere/");
    // The service is asked whether there is one.
    if (world.hasService && world.year == 14) Fault("path./opt/tv/elsewhere/SP_VB_Data/", "EACCES");
    // The service, not this process, writes the raw MAC block: then a dump can succeed.
    if (world.hasService && world.year >= 15) Fault("path./dev/mtdblock3", "EACCES");
    MakeData();
}

void MemoryFaults::MakeData()
{
    const int items = Set().Box().items;
    const std::uint32_t seed = Set().Box().seed;
    // A restore of the legacy backup puts into the box what is there already.
    for (const auto& [uid, item] : vbset::LegacyItems(items, seed)) Set().WriteFactoryItem(uid, item);
    const auto file = vbset::EncipherLegacy(vbset::LegacyRecords(items, seed));
    fs::create_directories("TD/Migration");
    WriteFile("TD/Migration/PictureMigrationData.dat", {file.begin(), file.end()});
    EXPECT_TRUE(HoldsInChild([] {
        EXPECT_EQ(migration_api_set_factory_item(1713, 1), 0);
        migration_api_dump_non_volatile_data();
        EXPECT_TRUE(get_Startegy()->UnMount());
    }));
    serviceFile_ = ReadFile(Set().Map(kServiceFile).value());
    backupFile_ = ReadFile(Set().Map(kBackupFile).value());
    WriteFile(Set().Partition("migration") / "other", "what an earlier backup left");
    EXPECT_FALSE(serviceFile_.empty());
    EXPECT_FALSE(backupFile_.empty());
}

std::string MemoryFaults::LostData()
{
    std::string lost;
    if (ReadFile(Set().Map(kServiceFile).value()) != serviceFile_) lost += "the service file ";
    if (ReadFile(Set().Map(kBackupFile).value()) != backupFile_) lost += "the backup ";
    // A dump that leaves its path behind has the next one look for the backup folder below itself.
    if (fs::exists(Set().Map(kBackupFile).value().parent_path() / "SP_VB_Data")) lost += "the backup path";
    return lost;
}

bool MemoryFaults::LackedClient() const
{
    const Messages messages = Logged({"ExecuteUserShell"});
    const Message noClient = Error("could not get the g client instance...");
    return std::find(messages.begin(), messages.end(), noClient) != messages.end();
}

void MemoryFaults::ExpectNothingLost()
{
    const std::string lost = LostData();
    EXPECT_TRUE(lost.empty() || LackedClient()) << lost;
}

void MemoryFaults::ExpectNotFormatted()
{
    EXPECT_TRUE(fs::exists(Set().Partition("migration") / "other") || LackedClient());
}

int MemoryFaults::PowerFlag()
{
    const auto bytes = Set().Eeprom(0xF211);
    return bytes && bytes->size() == 1 ? bytes->front() : -1;
}

int MemoryFaults::StateOfTv(const std::string& name)
{
    int state = -1;
    std::ifstream(Set().TvDirectory() / "volatile" / name) >> state;
    return state;
}

void MemoryFaults::Run(const Call& call, long nth, bool forEver, const Seen& unfailed, Seen& seen)
{
    vbset::live::SetTracing(false);  // its lines are memory too
    tzplatform_mkpath(PLATFORM_PATH_MIGRATION, kServiceFile);  // keeps a text of its own from then on
    if (call.before) call.before();
    const long blocks = allocation_failure::Live();
    int result = 0;
    (forEver ? allocation_failure::FailAnyFrom : allocation_failure::FailAny)(nth);
    EXPECT_NO_THROW(result = call.call());
    seen.asked = allocation_failure::Asked();
    seen.ranOut = allocation_failure::Stop();

    EXPECT_EQ(seen.ranOut, nth != kNever);
    EXPECT_TRUE(result == call.result || (seen.ranOut && call.result == 0 && result == -1)) << result;
    ExpectNothingLost();
    if (call.after) call.after({result, seen.ranOut, forEver});

    const bool isWhole = IsWhole();
    seen.again = (call.again ? call.again : call.call)();
    seen.held = seen.ranOut ? Held::NowOrSoon(unfailed.held) : Held::Now();
    seen.held.blocks -= blocks;
    ExpectNothingLost();
    if (!seen.ranOut) return;
    EXPECT_TRUE(seen.again == unfailed.again || !isWhole || LackedClient()) << seen.again;
    ExpectNoMore(seen.held, unfailed.held);
}

void MemoryFaults::RunOutIn(const Call& call, bool forEver, long first, const char* kind)
{
    SCOPED_TRACE(::testing::Message() << call.name << (forEver ? ", for ever" : ", once"));
    Shared<Seen> unfailed;
    Shared<Seen> seen;  // both are mapped before any process is compared
    ASSERT_TRUE(HoldsInChild([&] { Run(call, kNever, forEver, *unfailed, *unfailed); }));
    const long places = unfailed->asked;
    const long step = TriesAll() ? 1 : kStride;
    for (long nth = std::clamp(places, 1L, first); nth <= places && !HasFailure(); nth += step) {
        const Try place(kind);
        Forget();
        *seen = {};
        EXPECT_TRUE(HoldsInChild([&] {
            SCOPED_TRACE(::testing::Message() << "allocation " << nth);
            Run(call, nth, forEver, *unfailed, *seen);
        })) << "allocation " << nth << " of " << places;
        if (LackedClient()) MakeData();  // the next one shall find it all
    }
}

void MemoryFaults::RunOutIn(const std::vector<Call>& calls, const std::string& what)
{
    for (const bool forEver : {false, true}) {
        const std::string kind =
            what + (forEver ? " in which an allocation and all after it fail" : " in which an allocation fails");
        long first = 1;  // most calls begin alike: each adds another one of the first places
        for (const Call& call : calls) {
            RunOutIn(call, forEver, first, Kept(kind));
            first = TriesAll() ? 1 : first % kStride + 1;
        }
    }
}
