#include "RealSet.h"

#include <Layout.h>
#include <LegacyBackup.h>
#include <Program.h>
#include <Set.h>

#include <fstream>
#include <sstream>

#include "Archive.h"

namespace powercut {

namespace {

namespace fs = std::filesystem;

constexpr int exitPowerCut = 125;

void WriteFile(const fs::path& file, const Bytes& bytes)
{
    fs::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
}

std::string TvText(const Facts& facts)
{
    std::ostringstream text;
    text << "kind = \"tv\"\nname = \"tv\"\nyear = " << facts.tvCode << "\nmain_chip = " << (facts.items == 62 ? 3 : 1)
         << "\nci_slots = " << facts.ciSlots << "\nmac = \"02:00:5E:10:00:15\"\nmicom_mac = \"02:00:5E:11:00:13\"\n"
         << "legacy_data_directory = " << (facts.hasLegacyFolder ? "true" : "false") << "\n";
    if (facts.basesOnPartition) {
        text << "backup_path = \"/opt/korvane_vbmg/\"\nrestore_path = \"/opt/korvane_vbmg/\"\n";
    }
    text << "[gpio]\n107 = " << (facts.newBoard ? 0 : 1) << "\n153 = 1\n165 = 1\n172 = 1\n173 = 0\n174 = 1\n175 = 1\n";
    text << "[faults]\n";
    if (facts.macBlockIsPrivate) text << "\"path./dev/mtdblock3\" = \"EACCES\"\n";
    if (facts.transfersCount) text << "\"service.reply.6\" = \"0:0:0\"\n\"service.reply.7\" = \"0:0:0\"\n";
    return text.str();
}

std::string BoxText(const Scenario& scenario)
{
    const Facts& facts = scenario.facts;
    std::ostringstream text;
    text << "kind = \"box\"\nname = \"box\"\nyear = " << facts.tvCode << "\nmain_chip = " << (facts.items == 62 ? 3 : 1)
         << "\nitems = " << facts.items << "\nseed = " << earlierSeed << "\n";
    if (facts.tvCode == 13 || facts.tvCode == 14) text << "mac_block = \"02:00:5E:20:00:14\"\n";
    if (scenario.legacyBackup && facts.tvCode == 14) text << "legacy_backup = true\n";
    return text.str();
}

bool IsMigration(Flow flow) { return flow == Flow::Backup || flow == Flow::Restore; }

}  // namespace

RealSet::RealSet(const Scenario& scenario, const fs::path& directory)
    : scenario_(scenario), directory_(directory), tv_(directory / "tv"), box_(directory / "box")
{
    fs::create_directories(directory_);
    Describe();
    if (IsMigration(scenario_.flow) && !scenario_.legacyBackup && !scenario_.fresh) MakeEarlierBackup();
    PlaceFiles();
}

RealSet::RealSet(const RealSet& other, const fs::path& directory)
    : scenario_(other.scenario_), directory_(directory), tv_(directory / "tv"), box_(directory / "box")
{
    fs::copy(other.directory_, directory_, fs::copy_options::recursive);
}

void RealSet::Describe() const
{
    WriteFile(directory_ / "tv.toml", TvText(scenario_.facts));
    WriteFile(directory_ / "box.toml", BoxText(scenario_));
    vbset::Create((directory_ / "tv.toml").string(), tv_);
    vbset::Create((directory_ / "box.toml").string(), box_);
}

/** A real backup of the items that the box was made with; the TV that restores it is one that made none. */
void RealSet::MakeEarlierBackup()
{
    RunOnSet("", {POWER_CUT_FLOW, "backup", std::to_string(scenario_.facts.tvCode)}, 0);
    SwitchOff();
    if (scenario_.flow != Flow::Restore) return;
    fs::remove_all(vbset::layout::Root(tv_) / "opt/tv/migration/korvane_vbmg");
    fs::remove_all(vbset::layout::BareMigration(tv_) / "SP_VB_Data");
    fs::remove(vbset::layout::Root(tv_) / "opt/korvane_vbmg_Tavix.tar.gz");
}

void RealSet::PlaceFiles()
{
    const int items = scenario_.facts.items;
    vbset::Set set(tv_, box_);
    for (const auto& [uid, item] : vbset::SeededItems(items, boxSeed)) set.WriteFactoryItem(uid, item);
    const bool isBlank = scenario_.facts.tvCode == 15 || scenario_.facts.tvCode == 17;
    if (isBlank) set.WriteMacBlock(std::vector<unsigned char>(6, 0xFF));
    if (!IsMigration(scenario_.flow) && !scenario_.fresh) {
        const bool isBare = scenario_.flow == Flow::SyncToFile || scenario_.flow == Flow::SyncToBox;
        WriteFile((isBare ? vbset::layout::BareDataSync(tv_) : vbset::layout::DataSync(tv_)) / "PictureData.dat",
                  PictureOf(items, earlierSeed));
    }
    if (scenario_.legacyBackup && scenario_.facts.tvCode == 13) {
        const auto file = vbset::EncipherLegacy(vbset::LegacyRecords(items, earlierSeed));
        WriteFile(vbset::layout::WorkingDirectory(tv_) / "TD/Migration" / pictureFile, Bytes(file.begin(), file.end()));
    }
    if (scenario_.unformatted) {
        fs::remove_all(scenario_.flow == Flow::Store ? vbset::layout::DataSync(tv_) : vbset::layout::Migration(box_));
    }
}

std::string RealSet::Run(Flow flow, const std::string& cut)
{
    const std::vector<std::string> program = {POWER_CUT_FLOW, NameOf(flow), std::to_string(scenario_.facts.tvCode)};
    const std::string output = RunOnSet(cut, program, cut.empty() ? 0 : exitPowerCut);
    if (!cut.empty()) return "cut";
    SwitchOff();
    return output.substr(0, output.find('\n'));
}

bool RealSet::SaysThatStartFormats()
{
    // The scenario's faults may keep the status from nothing that it looks at.
    const std::string status = RunOnSet("", {VBMIGRATION_COMMAND, "status", "--json"}, 0);
    SwitchOff();
    return status.find("\"formats_backup\": true") != std::string::npos;
}

std::string RealSet::RunOnSet(const std::string& cut, const std::vector<std::string>& program, int expected)
{
    std::vector<std::string> words = {VBSET_COMMAND, "run", tv_, box_, "--timeout", "60"};
    if (!cut.empty()) words.insert(words.end(), {"--cut", cut});
    words.push_back("--");
    words.insert(words.end(), program.begin(), program.end());
    const auto ended = program::Run(words);
    if (ended.status != expected) {
        throw vbset::Error("vbset run ended with " + std::to_string(ended.status) + ": " + ended.errors);
    }
    return ended.output;
}

void RealSet::SwitchOff()
{
    const auto ended = program::Run({VBSET_COMMAND, "off", tv_, box_});
    if (ended.status != 0) throw vbset::Error("vbset off: " + ended.errors);
}

}  // namespace powercut
