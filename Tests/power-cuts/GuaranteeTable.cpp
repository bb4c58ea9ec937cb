/** @file
 * What is guaranteed, cut point by cut point: a table for each flow, made of runs that are cut there.
 */
#include <LegacyBackup.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>

#include "Archive.h"
#include "Sweep.h"
#include "Table.h"
#include "Trial.h"

namespace powercut {

namespace {

using Words = std::set<std::string>;

/** What the set holds, such as "backup", and in which states it was found. */
using Held = std::map<std::string, Words>;

void Add(Held& all, const Held& more)
{
    for (const auto& [name, states] : more) all[name].insert(states.begin(), states.end());
}

/** What is seen at a place, whatever becomes there of what is not synced. */
struct Seen {
    Words flag;
    Held held;
    Words next;
    Held heldThen;
    Words end;

    bool operator==(const Seen& other) const
    {
        return flag == other.flag && held == other.held && next == other.next && heldThen == other.heldThen &&
               end == other.end;
    }
    void Add(const Seen& other)
    {
        flag.insert(other.flag.begin(), other.flag.end());
        powercut::Add(held, other.held);
        next.insert(other.next.begin(), other.next.end());
        powercut::Add(heldThen, other.heldThen);
        end.insert(other.end.begin(), other.end.end());
    }
};

/** Places one after the other at which the same is seen. */
struct Row {
    std::string first;  ///< "57" or "57.2"
    std::string last;
    std::string from;  ///< the calls
    std::string to;
    Seen seen;
};

bool IsMigration(Flow flow) { return flow == Flow::Backup || flow == Flow::Restore; }

bool HasFlag(const Scenario& scenario) { return IsMigration(scenario.flow) && scenario.facts.tvCode != 13; }

Bytes LegacyFile(int items)
{
    const auto file = vbset::EncipherLegacy(vbset::LegacyRecords(items, earlierSeed));
    return {file.begin(), file.end()};
}

/** A picture file or a backup: the one that was there before, the one that the flow makes, or neither. */
std::string StateOf(const Holdings& held, const std::string& name, int items)
{
    const auto found = held.find(name);
    if (found == held.end()) return "none";
    const std::string mark = archiveMark;
    const bool isPacked = found->second.compare(0, mark.size(), mark) == 0;
    const Bytes bytes = isPacked ? found->second.substr(mark.size()) : found->second;
    if (bytes == PictureOf(items, boxSeed)) return "new";
    if (bytes == PictureOf(items, earlierSeed) || bytes == LegacyFile(items)) return "old";
    return "damaged";
}

std::string Backup(const Scenario& scenario, const Holdings& held)
{
    const int items = scenario.facts.items;
    if (scenario.facts.tvCode == 13) {
        if (scenario.legacyBackup) return StateOf(held, std::string("work/TD/Migration/") + pictureFile, items);
        return StateOf(held, boxArchive, items);
    }
    return StateOf(held, scenario.legacyBackup ? "migration/legacy.tar" : "migration/korvane_vbmg.tar", items);
}

std::string Items(const Scenario& scenario, const Holdings& held)
{
    const int count = scenario.facts.items;
    const auto restored =
        scenario.legacyBackup ? vbset::LegacyItems(count, earlierSeed) : vbset::SeededItems(count, earlierSeed);
    bool all = true;
    bool none = true;
    for (const auto& [uid, before] : vbset::SeededItems(count, boxSeed)) {
        const Bytes data = held.at("item/" + std::to_string(uid)).substr(4);
        const auto& after = restored.at(uid).data;
        all = all && data == Bytes(after.begin(), after.end());
        none = none && data == Bytes(before.data.begin(), before.data.end());
    }
    return all ? "new" : none ? "old" : "in part new";
}

std::string MacBlock(const Holdings& held)
{
    const Bytes& block = held.at("mac");
    if (block == Bytes(6, '\xFF')) return "blank";
    return block == Bytes("\x02\x00\x5E\x10\x00\x15", 6) ? "written" : "damaged";
}

Held LookAt(const Scenario& scenario, const MemorySet& set)
{
    const Holdings held = HoldingsOf(set);
    const bool sameGeneration = scenario.facts.tvCode == 15 || scenario.facts.tvCode == 17;
    Held found;
    if (IsMigration(scenario.flow)) found["backup"] = {Backup(scenario, held)};
    if (scenario.flow == Flow::Backup && sameGeneration) found["MAC block"] = {MacBlock(held)};
    const bool restores = scenario.flow == Flow::Restore && !sameGeneration;
    if (restores) found["MAC"] = {held.count("eeprom/migrated_mac") != 0 ? "new" : "old"};
    if (restores || scenario.flow == Flow::SyncToBox || scenario.flow == Flow::MountedSyncToBox) {
        found["items"] = {Items(scenario, held)};
    } else if (!IsMigration(scenario.flow)) {
        const std::string folder = scenario.flow == Flow::SyncToFile ? "root/opt/tv/migration/service" : "data_sync";
        found["service file"] = {StateOf(held, folder + "/PictureData.dat", scenario.facts.items)};
    }
    return found;
}

/** The calls of a flow whose results tell whether they failed; null for what is a value. */
std::vector<const char*> CallsOf(Flow flow)
{
    switch (flow) {
        case Flow::Backup: return {"START", "dump", "END"};
        case Flow::Restore: return {"START", "restore", "END"};
        case Flow::MountedSyncToFile:
        case Flow::MountedSyncToBox:
        case Flow::Load: return {"load", nullptr, nullptr, "sync"};
        default: return {"it"};
    }
}

/** Collects what a case shows: what its cut left, and what the next start made of that. */
class Collector : public Watcher {
 public:
    Collector(const Scenario& scenario, const Results& uncut) : scenario_(scenario), uncut_(uncut) {}

    void Ran(Flow, const vbset::PowerCut* cut, const Machine& after) override
    {
        ++runs_;
        if (cut == nullptr && runs_ == 2) seen_.next.insert(NextStart(after.run.results));
    }

    void Left(const MemorySet& set) override
    {
        if (runs_ == 1) {
            isRaised_ = set.kept.powerFlag == 0xAA;
            if (HasFlag(scenario_)) seen_.flag.insert(isRaised_ ? "raised" : "idle");
            seen_.held = LookAt(scenario_, set);
        } else if (runs_ == 2) {
            seen_.heldThen = LookAt(scenario_, set);
        }
    }

    Seen Ended(Outcome outcome)
    {
        const bool isSecond = scenario_.flow == Flow::Backup && runs_ > 2;
        seen_.end.insert(NameOf(outcome) + std::string(isSecond ? ", after one more backup" : ""));
        return seen_;
    }

 private:
    std::string NextStart(const Results& results) const
    {
        const std::string formats = HasFlag(scenario_) && isRaised_ ? "formats, " : "";
        if (IsMigration(scenario_.flow) && results.values[0] != 0) return formats + "refuses";
        std::string failed;
        const auto calls = CallsOf(scenario_.flow);
        for (int i = 0; i < results.count; ++i) {
            const char* const call = calls[static_cast<std::size_t>(i)];
            if (call == nullptr || results.values[i] == 0 || uncut_.values[i] != 0) continue;
            failed += std::string(failed.empty() ? "" : ", ") + call + " fails";
        }
        return formats + (failed.empty() ? "goes on" : failed);
    }

    const Scenario& scenario_;
    const Results& uncut_;
    Seen seen_;
    int runs_ = 0;
    bool isRaised_ = false;
};

/** A call without numbers, which differ from set to set: identifiers of items, sizes, bytes. */
std::string Shown(std::string call)
{
    call = call.substr(0, call.find(":EMPTY"));
    const auto begins = [&](const std::string& start) { return call.compare(0, start.size(), start) == 0; };
    for (const char* start : {"GetMigrationItem", "SetMigrationItemData", "DoVornBoxFactoryDatasSync", "eeprom_write_m"}) {
        if (begins(start)) return call.substr(0, call.find(' '));
    }
    for (const char* start : {"open ", "fopen ", "write "}) {
        if (begins(start)) return call.substr(0, call.rfind(' '));
    }
    return begins("request 2:") ? call.substr(0, call.rfind(':')) : call;
}

class TableMaker {
 public:
    bool Make(const Scenario& scenario, std::vector<Row>& rows)
    {
        const Results uncut = UncutResults(scenario);
        const auto points = trial_.PointsAfter({&scenario, {}});
        Seen seen;
        for (std::size_t i = 0; i < points.size(); ++i) {
            // Where nothing has changed since the place before, a cut leaves the same.
            const bool isNew = i == 0 || points[i].state != points[i - 1].state || points[i].bytes > 0 ||
                               points[i - 1].bytes > 0;
            if (isNew && !See(scenario, points[i], uncut, seen)) return false;
            const std::string call = Shown(CallAround(points, i));
            if (rows.empty() || !(rows.back().seen == seen)) rows.push_back({Place(points[i]), "", call, "", seen});
            rows.back().last = Place(points[i]);
            rows.back().to = call;
        }
        return true;
    }

 private:
    static std::string Place(const Point& point)
    {
        return std::to_string(point.interaction) + (point.step > 0 ? "." + std::to_string(point.step) : "");
    }

    /** A step has no call of its own: that of its interaction comes after it. */
    static const char* CallAround(const std::vector<Point>& points, std::size_t i)
    {
        while (points[i].step > 0) ++i;
        return points[i].call;
    }

    Results UncutResults(const Scenario& scenario)
    {
        class Taker : public Watcher {
         public:
            void Ran(Flow, const vbset::PowerCut*, const Machine& after) override
            {
                if (taken.count == 0) taken = after.run.results;
            }
            void Left(const MemorySet&) override {}
            Results taken;
        };
        Taker taker;
        trial_.Try({&scenario, {}}, &taker);
        return taker.taken;
    }

    bool See(const Scenario& scenario, const Point& point, const Results& uncut, Seen& seen)
    {
        seen = Seen();
        for (const auto& cut : CutsAt({point}, true)) {
            // What is before an interaction is after the one before it.
            if (cut.when == vbset::PowerCut::When::Before) continue;
            Collector collector(scenario, uncut);
            const Case made{&scenario, {cut}};
            const Tried tried = trial_.Try(made, &collector);
            if (!tried.complaint.empty()) {
                std::fprintf(stderr, "FAILED %s\n%s", made.Id().c_str(), tried.complaint.c_str());
                return false;
            }
            seen.Add(collector.Ended(tried.outcome));
        }
        return true;
    }

    Trial trial_;
};

std::string Joined(const Words& words)
{
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : " or ") + word;
    return text;
}

std::string Joined(const Held& held)
{
    std::string text;
    for (const auto& [name, states] : held) text += (text.empty() ? "" : "; ") + name + " " + Joined(states);
    return text;
}

std::string Cells(const Row& row)
{
    std::string text = " | `" + row.from + "`" + (row.from == row.to ? "" : " … `" + row.to + "`");
    if (!row.seen.flag.empty()) text += " | " + Joined(row.seen.flag);
    return text + " | " + Joined(row.seen.held) + " | " + Joined(row.seen.next) + " | " + Joined(row.seen.heldThen) +
           " | " + Joined(row.seen.end) + " |\n";
}

/** From the first place to the last: "26", "11 to 20.3", or "124.3 to its end" for what is left of one interaction. */
std::string Places(const Row& row)
{
    if (row.first == row.last) return row.first;
    const bool isOfOne = row.first.substr(0, row.first.find('.')) == row.last;
    return row.first + " to " + (isOfOne ? "its end" : row.last);
}

/** Scenarios that the same is guaranteed for. */
struct Group {
    std::vector<std::string> ids;
    std::vector<Row> rows;
    std::string cells;  ///< all but the places
    bool hasFlag = false;
};

void Print(const Group& group)
{
    std::string names;
    for (const std::string& id : group.ids) names += (names.empty() ? "" : ", ") + id;
    std::printf("\n**%s**\n\n", names.c_str());
    std::printf("| Cut after | While |%s Then held | Next start | Held after it | In the end |\n",
                group.hasFlag ? " Flag |" : "");
    std::printf("|---|---|%s---|---|---|---|\n", group.hasFlag ? "---|" : "");
    for (const Row& row : group.rows) {
        std::printf("| %s%s", Places(row).c_str(), Cells(row).c_str());
    }
}

}  // namespace

bool PrintTable()
{
    TableMaker maker;
    std::vector<Group> groups;
    for (const Scenario& scenario : Scenarios()) {
        Group made;
        if (!maker.Make(scenario, made.rows)) return false;
        for (const Row& row : made.rows) made.cells += Cells(row);
        const auto same =
            std::find_if(groups.begin(), groups.end(), [&](const Group& group) { return group.cells == made.cells; });
        if (same != groups.end()) {
            same->ids.push_back(scenario.id);
            continue;
        }
        made.ids.push_back(scenario.id);
        made.hasFlag = HasFlag(scenario);
        groups.push_back(std::move(made));
    }
    for (const Group& group : groups) Print(group);
    return true;
}

}  // namespace powercut
