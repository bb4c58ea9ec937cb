#include "Scenario.h"

#include <LegacyBackup.h>
#include <Set.h>

#include <algorithm>

#include "Archive.h"

namespace powercut {

namespace {

constexpr const char* baseTree = "root/opt/tv/migration/korvane_vbmg/SP_VB_Data";
constexpr const char* bareService = "root/opt/tv/migration/service";
constexpr const char* bareMigration = "root/opt/korvane_vbmg";

bool IsSync(Flow flow)
{
    return flow == Flow::SyncToFile || flow == Flow::SyncToBox || flow == Flow::MountedSyncToFile ||
           flow == Flow::MountedSyncToBox;
}

/** Collects scenarios and gives them their ids. */
class Collection {
 public:
    Collection()
    {
        for (const int code : {17, 15, 14, 13}) {
            for (const int items : {44, 62}) AddCode(code, items);
        }
    }
    std::vector<Scenario> Take() { return std::move(all_); }

 private:
    static Scenario Plain(Flow flow, int code, int items)
    {
        Scenario scenario;
        scenario.id = std::string(NameOf(flow)) + "-" + std::to_string(code) + "-" + std::to_string(items);
        scenario.flow = flow;
        scenario.facts.tvCode = code;
        scenario.facts.items = items;
        scenario.facts.transfersCount = true;
        return scenario;
    }

    template <class Change>
    void AddVariant(Scenario scenario, const char* suffix, Change change)
    {
        scenario.id += suffix;
        change(scenario);
        all_.push_back(std::move(scenario));
    }

    void AddMigration(const Scenario& plain)
    {
        const auto onPartition = [](Scenario& s) { s.facts.basesOnPartition = true; };
        const auto onNewBoard = [](Scenario& s) {
            s.board = Board::New;
            s.facts.newBoard = true;
            s.facts.ciSlots = 2;
        };
        const auto withoutSlot = [](Scenario& s) {
            s.board = Board::NewWithoutSlot;
            s.facts.newBoard = true;
        };
        all_.push_back(plain);
        AddVariant(plain, "-part", onPartition);
        AddVariant(plain, "-new", onNewBoard);
        AddVariant(plain, "-new-part", [&](Scenario& s) { onNewBoard(s), onPartition(s); });
        AddVariant(plain, "-newnoci", withoutSlot);
        if (plain.facts.tvCode == 13) {
            AddVariant(plain, "-own", [](Scenario& s) { s.facts.transfersCount = false; });
        } else {
            AddVariant(plain, "-unformatted", [](Scenario& s) { s.unformatted = true; });
        }
    }

    void AddCode(int code, int items)
    {
        const Scenario backup = Plain(Flow::Backup, code, items);
        const Scenario restore = Plain(Flow::Restore, code, items);
        AddMigration(backup);
        AddVariant(backup, "-fresh", [](Scenario& s) { s.fresh = true; });
        AddMigration(restore);
        const bool sameGeneration = code == 15 || code == 17;
        const auto makePrivate = [](Scenario& s) { s.facts.macBlockIsPrivate = true; };
        if (sameGeneration) {
            AddVariant(backup, "-mac", makePrivate);
        } else {
            AddVariant(restore, "-legacy", [](Scenario& s) { s.legacyBackup = true; });
            AddVariant(restore, "-mac", [&](Scenario& s) {
                makePrivate(s);
                s.facts.hasLegacyFolder = s.facts.tvCode == 13;
            });
        }
        for (const Flow flow : {Flow::SyncToFile, Flow::SyncToBox, Flow::MountedSyncToFile, Flow::MountedSyncToBox,
                                Flow::Store, Flow::Load}) {
            all_.push_back(Plain(flow, code, items));
        }
        AddVariant(Plain(Flow::Store, code, items), "-unformatted", [](Scenario& s) { s.unformatted = true; });
        AddVariant(Plain(Flow::SyncToFile, code, items), "-fresh", [](Scenario& s) { s.fresh = true; });
    }

    std::vector<Scenario> all_;
};

void FillBox(const Scenario& scenario, Nonvolatile& kept)
{
    const auto made = vbset::SeededItems(scenario.facts.items, boxSeed);
    Item* item = kept.items;
    for (const std::uint32_t id : vbset::ItemIds(scenario.facts.items)) {
        item->uid = id;
        item->storeType = made.at(id).storeType;
        item->size = static_cast<std::uint32_t>(made.at(id).data.size());
        std::copy(made.at(id).data.begin(), made.at(id).data.end(), item->data);
        ++item;
    }
    const bool isBlank = scenario.facts.tvCode == 15 || scenario.facts.tvCode == 17;
    kept.files.Write("mac", isBlank ? Bytes(6, '\xFF') : Bytes("\x02\x00\x5E\x20\x00\x14", 6));
}

/** What an earlier backup of other items left: on the partition, in the box, on the TV. */
void LeaveEarlierBackup(const Scenario& scenario, FileStore& files)
{
    const Bytes picture = PictureOf(scenario.facts.items, earlierSeed);
    const bool isBackup = scenario.flow == Flow::Backup;
    const std::string file = std::string("/") + pictureFile;
    if (scenario.facts.tvCode == 13) {
        files.Write(boxArchive, PackArchive(picture));
        if (isBackup && !scenario.facts.transfersCount) files.Write(tvArchive, PackArchive(picture));
    } else {
        files.Write("migration/korvane_vbmg.tar", PackArchive(picture));
        files.MakeDirectory("migration/SP_VB_Data");
        files.Write("migration/SP_VB_Data" + file, picture);
    }
    // A restore is made on a TV that has never made a backup.
    if (!isBackup) return;
    const bool bare = scenario.facts.tvCode == 13 && scenario.facts.basesOnPartition;
    if (scenario.facts.basesOnPartition && !bare) return;
    const std::string tree = bare ? std::string(bareMigration) + "/SP_VB_Data" : baseTree;
    files.MakeDirectory(tree);
    files.Write(tree + file, picture);
}

void LeaveLegacyBackup(const Scenario& scenario, FileStore& files)
{
    const auto file = vbset::EncipherLegacy(vbset::LegacyRecords(scenario.facts.items, earlierSeed));
    const Bytes enciphered(file.begin(), file.end());
    if (scenario.facts.tvCode == 13) {
        files.MakeDirectory("work/TD/Migration");
        files.Write(std::string("work/TD/Migration/") + pictureFile, enciphered);
    } else {
        files.Write("migration/legacy.tar", PackArchive(enciphered));
    }
}

void LeaveServiceFile(const Scenario& scenario, FileStore& files)
{
    const bool isBare = scenario.flow == Flow::SyncToFile || scenario.flow == Flow::SyncToBox;
    files.Write(std::string(isBare ? bareService : "data_sync") + "/PictureData.dat",
                PictureOf(scenario.facts.items, earlierSeed));
}

void Unformat(const Scenario& scenario, Nonvolatile& kept)
{
    const bool isStore = scenario.flow == Flow::Store;
    kept.files.Remove(isStore ? "data_sync" : "migration");
    (isStore ? kept.dataSyncFormatted : kept.migrationFormatted) = false;
}

}  // namespace

const std::vector<Scenario>& Scenarios()
{
    static const std::vector<Scenario> all = Collection().Take();
    return all;
}

const Scenario* FindScenario(const std::string& id)
{
    const auto& all = Scenarios();
    const auto found = std::find_if(all.begin(), all.end(), [&](const Scenario& s) { return s.id == id; });
    return found == all.end() ? nullptr : &*found;
}

Bytes PictureOf(int items, unsigned int seed)
{
    const auto word = [](std::uint32_t value) {
        Bytes bytes;
        for (unsigned int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift);
        return bytes;
    };
    const auto made = vbset::SeededItems(items, seed);
    Bytes file;
    for (const std::uint32_t id : vbset::ItemIds(items)) {
        const auto& data = made.at(id).data;
        file += word(id) + word(made.at(id).storeType) + word(static_cast<std::uint32_t>(data.size()));
        file.append(data.begin(), data.end());
    }
    return file;
}

MemorySet FirstState(const Scenario& scenario)
{
    MemorySet set;
    Nonvolatile& kept = set.kept;
    for (const char* directory : {"migration", "data_sync", "work", "box", bareMigration, bareService}) {
        kept.files.MakeDirectory(directory);
    }
    if (scenario.facts.hasLegacyFolder) kept.files.MakeDirectory(std::string(bareMigration) + "/SP_VB_DATA");
    std::memcpy(kept.mac, "\x02\x00\x5E\x10\x00\x15", sizeof kept.mac);
    FillBox(scenario, kept);
    if (scenario.legacyBackup) {
        LeaveLegacyBackup(scenario, kept.files);
    } else if (!scenario.fresh) {
        if (scenario.flow == Flow::Backup || scenario.flow == Flow::Restore) LeaveEarlierBackup(scenario, kept.files);
        if (IsSync(scenario.flow) || scenario.flow == Flow::Store || scenario.flow == Flow::Load) {
            LeaveServiceFile(scenario, kept.files);
        }
    }
    if (scenario.unformatted) Unformat(scenario, kept);
    set.SwitchOff();
    SwitchOn(scenario, set);
    return set;
}

void SwitchOn(const Scenario& scenario, MemorySet& set)
{
    set.lost = Volatile();
    auto& gpio = set.lost.gpio;
    gpio[107] = scenario.facts.newBoard ? 0 : 1;
    gpio[153] = gpio[165] = gpio[172] = gpio[174] = gpio[175] = 1;
}

}  // namespace powercut
