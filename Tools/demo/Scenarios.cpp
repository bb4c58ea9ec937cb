#include "Scenarios.h"

#include <LegacyBackup.h>

#include "Evidence.h"

namespace demo {

namespace {

namespace fs = std::filesystem;

/** "TV: a 1, b 2; box: c 3" */
std::string Written(const std::string& byTv, const std::string& byBox)
{
    const std::string tv = byTv.empty() ? "" : "TV: " + byTv;
    const std::string box = byBox.empty() ? "" : "box: " + byBox;
    return tv + (tv.empty() || box.empty() ? "" : "; ") + box;
}

/** One demonstration: the sets made for it, and what the report says of whatever is done to them. */
class Demonstration {
 public:
    Demonstration(const Workshop& workshop, Report& report, const std::string& title)
        : workshop_(workshop), report_(report)
    {
        report_.Section(title);
    }

    /** Makes a side of a set, under a name of its own in this workshop. */
    fs::path Make(const std::string& description) const
    {
        static int number = 0;
        report_.Progress("making " + description);
        return workshop_.Make(description, std::to_string(++number) + "-" + description);
    }

    /** Runs vbmigration.
     * @param results  what its calls have to result in
     * @param because  why one of them has to fail, when the command does not say it itself */
    void Do(const fs::path& tv, const fs::path& box, const Strings& words, const std::vector<int>& results,
            const std::string& because = "", const Strings& faults = {}) const
    {
        std::string step = "vbmigration";
        for (const std::string& word : words) {
            step += " " + word;
        }
        report_.Progress(step);
        const Snapshot tvBefore(tv);
        const Snapshot boxBefore(box);
        Run run = workshop_.Migrate(tv, box, words, faults);
        run.written = Written(Snapshot(tv).WrittenSince(tvBefore), Snapshot(box).WrittenSince(boxBefore));
        report_.Add(tv.filename().string() + " with " + box.filename().string(), run, results, because);
    }

    /** Changes all items of the box, so that what is equal to earlier ones afterwards did arrive. */
    void ChangeItems(vbset::Set& set) const
    {
        ChangeAllItems(set);
        Say("", "(every item of the box is given another value)");
    }

    void Say(const std::string& name, const std::string& text, bool good = true) const
    {
        report_.Add(name, text, good);
    }

    void SayItems(const std::string& what, const Items& wanted, const Items& found) const
    {
        const Comparison comparison = Compare(wanted, found);
        Say("items", what + ": " + comparison.Text(), comparison.AllEqual());
    }

    void SayFile(const fs::path& file, const Items& wanted) const
    {
        const auto found = ReadPictureFile(file);
        const Comparison comparison = Compare(wanted, found.value_or(Items()));
        Say("items", "in " + file.filename().string() + ", against the box: " + comparison.Text(),
            found && comparison.AllEqual());
    }

    void SayMacs(const Macs& before, const Macs& after, bool good) const
    {
        Say("MAC",
            "TV's own " + Text(after.own) + "; TV's migrated " + Text(before.migrated) + " -> " + Text(after.migrated) +
                "; box's block " + Text(before.block) + " -> " + Text(after.block),
            good);
    }

 private:
    const Workshop& workshop_;
    Report& report_;
};

/** Sync in both directions and verification, on a set whose box holds other items before each sync. */
void SyncBothWays(const Demonstration& demonstration, const fs::path& tv, const fs::path& box)
{
    vbset::Set set(tv, box);
    const Items items = set.FactoryItems();
    const fs::path serviceFile = set.Partition("data_sync") / "PictureData.dat";
    const std::string differs = "on purpose: the box holds other items than the service file";
    demonstration.Do(tv, box, {"item", "set", "store", "1"}, {0});
    demonstration.SayFile(serviceFile, items);
    demonstration.Do(tv, box, {"test", "verify"}, {0});
    demonstration.Do(tv, box, {"item", "get", "1716", "--load"}, {0, 0});

    demonstration.ChangeItems(set);
    demonstration.Do(tv, box, {"test", "verify"}, {-1}, differs);
    demonstration.Do(tv, box, {"sync", "tv-to-box"}, {0});
    demonstration.SayItems("from the TV, in the box", items, set.FactoryItems());
    demonstration.Do(tv, box, {"test", "verify"}, {0});

    demonstration.ChangeItems(set);
    demonstration.Do(tv, box, {"sync", "box-to-tv"}, {0});
    demonstration.SayFile(serviceFile, set.FactoryItems());
    demonstration.Do(tv, box, {"test", "verify"}, {0});
}

}  // namespace

void MoveToCode14(const Workshop& workshop, Report& report, const Sides& from, const std::string& to,
                  bool backupByService)
{
    const std::string caller = backupByService ? " (a caller who may not open the MAC block)" : "";
    const Demonstration demonstration(
        workshop, report, from.tv + " is backed up; its box moves to " + to + ", which restores it" + caller);
    const fs::path tv = demonstration.Make(from.tv);
    const fs::path box = demonstration.Make(from.box);
    const fs::path next = demonstration.Make(to);

    vbset::Set first(tv, box);
    const Items items = first.FactoryItems();
    const Macs before = MacsOf(first);
    const Strings faults = backupByService ? Strings{"path./dev/mtdblock3=EACCES"} : Strings{};
    demonstration.Do(tv, box, {"backup"}, {0, backupByService ? 0 : -1, 0}, "", faults);
    demonstration.SayFile(first.Partition("migration") / "SP_VB_Data/PictureMigrationData.dat", items);
    demonstration.SayMacs(before, MacsOf(first), before.own && MacsOf(first).block == before.own);
    demonstration.ChangeItems(first);
    first.PowerOff();

    vbset::Set second(next, box);
    const Macs arriving = MacsOf(second);
    demonstration.Do(next, box, {"migrate"}, {0, 0, 0});
    demonstration.SayItems("restored, in the box", items, second.FactoryItems());
    demonstration.SayMacs(arriving, MacsOf(second), before.own && MacsOf(second).migrated == before.own);
    SyncBothWays(demonstration, next, box);
}

void RestoreLegacyBackup(const Workshop& workshop, Report& report, const Sides& sides)
{
    const Demonstration demonstration(
        workshop, report, sides.box + " carries a backup of the previous platform; " + sides.tv + " restores it");
    const fs::path tv = demonstration.Make(sides.tv);
    const fs::path box = demonstration.Make(sides.box);
    vbset::Set set(tv, box);
    const Items legacy = vbset::LegacyItems(set.Box().items, set.Box().seed);
    const Macs before = MacsOf(set);
    const Comparison itemsBefore = Compare(legacy, set.FactoryItems());
    demonstration.Say("items", "in the box, against the backup: " + itemsBefore.Text(), itemsBefore.equal == 0);
    demonstration.Do(tv, box, {"migrate"}, {0, 0, 0});
    demonstration.SayItems("restored, in the box", legacy, set.FactoryItems());
    demonstration.SayMacs(before, MacsOf(set), MacsOf(set).migrated == before.block);
}

void StayInGeneration(const Workshop& workshop, Report& report, const Sides& sides)
{
    const Demonstration demonstration(
        workshop, report, sides.tv + " and " + sides.box + " are of the same generation: two backups and a restore");
    const fs::path tv = demonstration.Make(sides.tv);
    const fs::path box = demonstration.Make(sides.box);
    vbset::Set set(tv, box);
    const Items items = set.FactoryItems();
    const Macs before = MacsOf(set);
    const fs::path backup = set.Partition("migration") / "SP_VB_Data/PictureMigrationData.dat";
    demonstration.Do(tv, box, {"backup"}, {0, -1, 0});
    demonstration.SayFile(backup, items);
    demonstration.ChangeItems(set);
    const Items changed = set.FactoryItems();
    demonstration.Do(tv, box, {"backup", "--callbacks"}, {0, 0, 0, 0, 0, -1, 0}, "the block already holds the MAC");
    demonstration.SayFile(backup, changed);
    demonstration.Do(tv, box, {"migrate"}, {0, -1, 0});
    demonstration.SayItems("left alone, in the box", changed, set.FactoryItems());
    demonstration.SayMacs(before, MacsOf(set), !MacsOf(set).migrated && MacsOf(set).block == before.own);
}

void MoveYear13(const Workshop& workshop, Report& report, const Sides& sides)
{
    const Demonstration demonstration(workshop, report,
                                      sides.tv + " is backed up; its box moves to another " + sides.tv);
    const fs::path tv = demonstration.Make(sides.tv);
    const fs::path box = demonstration.Make(sides.box);
    const fs::path next = demonstration.Make(sides.tv);

    vbset::Set first(tv, box);
    const Items items = first.FactoryItems();
    demonstration.Do(tv, box, {"backup"}, {0, -1, -1});
    const bool archived = fs::exists(box / "nonvolatile/archive.tar.gz");
    demonstration.Say("box", archived ? "the archive arrived" : "there is no archive", archived);
    demonstration.Say("", "(once more, with a service whose reply names code 0)");
    demonstration.Do(tv, box, {"backup"}, {0, -1, 0}, "", {"service.reply.7=0:0:0"});
    demonstration.ChangeItems(first);
    first.PowerOff();

    vbset::Set second(next, box);
    const Macs before = MacsOf(second);
    demonstration.Do(next, box, {"migrate"}, {0, -1, 0},
                     "the reply named request code 6, which counts as failed, so nothing was unpacked");
    demonstration.Say("", "(once more, with a service whose reply names code 0)");
    demonstration.Do(next, box, {"migrate"}, {0, 0, 0}, "", {"service.reply.6=0:0:0"});
    demonstration.SayItems("restored, in the box", items, second.FactoryItems());
    const auto micom = second.Tv().micomMac;
    demonstration.Say("MAC", "the TV's micom gives " + Text(micom), micom.has_value());
    demonstration.SayMacs(before, MacsOf(second), micom && MacsOf(second).migrated == micom);
    demonstration.Do(next, box, {"boot", "get"}, {0});
    demonstration.Do(next, box, {"boot", "set", "1"}, {0});
    demonstration.Say("box", "boots from partition " + std::to_string(second.BootPartition()),
                      second.BootPartition() == 1);
}

void HoldBoardStill(const Workshop& workshop, Report& report, const Sides& sides, const std::string& board,
                    bool asBefore)
{
    const Demonstration demonstration(workshop, report, sides.tv + " has " + board + ": a backup");
    const fs::path tv = demonstration.Make(sides.tv);
    const fs::path box = demonstration.Make(sides.box);
    vbset::Set set(tv, box);
    set.PowerOn();
    const std::string before = workshop.Board(tv);
    demonstration.Do(tv, box, {"backup"}, {0, -1, 0});
    const std::string after = workshop.Board(tv);
    const std::string why = asBefore ? "" : " (on purpose: without CI slots nothing is undone)";
    demonstration.Say("board", "before: " + before);
    demonstration.Say("board", "after:  " + after + why, (before == after) == asBefore);
    demonstration.SayFile(set.Partition("migration") / "SP_VB_Data/PictureMigrationData.dat", set.FactoryItems());
}

void CallTheRest(const Workshop& workshop, Report& report, const Sides& sides)
{
    const Demonstration demonstration(workshop, report, "the calls that no migration makes, on " + sides.tv);
    const fs::path tv = demonstration.Make(sides.tv);
    const fs::path box = demonstration.Make(sides.box);
    demonstration.Do(tv, box, {"objects"}, {0, 0});
    demonstration.Do(tv, box, {"tuner-reset"}, {0});
    demonstration.Do(tv, box, {"free-memory"}, {-2});
    demonstration.Do(tv, box, {"store-sync"}, {-2});
    demonstration.Do(tv, box, {"mount"}, {-2});
    demonstration.Do(tv, box, {"boot", "get"}, {-1});
    demonstration.Do(tv, box, {"boot", "set", "1"}, {-1});
    demonstration.Do(tv, box, {"sync", "event-2"}, {0});
}

}  // namespace demo
