/** @file
 * vbmigration-demo: the main job on simulated sets, through the commands that come with the library.
 */
#include <CLI/CLI.hpp>
#include <cstdio>
#include <filesystem>
#include <optional>

#include "Scenarios.h"

namespace {

void DemonstrateAll(const demo::Workshop& workshop, demo::Report& report)
{
    demo::MoveToCode14(workshop, report, {"tv15", "box15"}, "tv14", false);
    demo::MoveToCode14(workshop, report, {"tv17-62", "box17-62"}, "tv14-62", true);
    demo::RestoreLegacyBackup(workshop, report, {"tv14", "box14-legacy"});
    demo::RestoreLegacyBackup(workshop, report, {"tv14-62", "box14-legacy-62"});
    demo::StayInGeneration(workshop, report, {"tv17", "box17"});
    demo::MoveYear13(workshop, report, {"tv13", "box13"});
    demo::HoldBoardStill(workshop, report, {"tv15-newboard", "box15"}, "a new main board with CI slots", true);
    demo::HoldBoardStill(workshop, report, {"tv15-newboard-noci", "box15"}, "a new main board without CI slots", false);
    demo::HoldBoardStill(workshop, report, {"tv15", "box15"}, "an old main board", true);
    demo::CallTheRest(workshop, report, {"tv15", "box15"});
}

}  // namespace

int main(int argc, char** argv)
{
    std::string keep;
    CLI::App app("Moves factory data between simulated sets and shows what arrived.", "vbmigration-demo");
    app.add_option("--keep", keep, "make the sets in this directory and leave them there")->check(CLI::NonexistentPath);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& help) {
        return app.exit(help);
    } catch (const CLI::ParseError& error) {
        std::fprintf(stderr, "vbmigration-demo: %s\n", error.what());
        return 2;
    }
    try {
        const auto programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
        const demo::Workshop workshop(programs,
                                      keep.empty() ? std::nullopt : std::optional<std::filesystem::path>(keep));
        demo::Report report;
        DemonstrateAll(workshop, report);
        return report.Print() ? 0 : 1;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "\nvbmigration-demo: %s\n", error.what());
        return 1;
    }
}
