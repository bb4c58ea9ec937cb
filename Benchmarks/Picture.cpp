#include <PictureMigration.h>
#include <VBMigration.h>
#include <VEMigration.h>

#include "BenchSet.h"
#include "Comparison.h"
#include "Groups.h"
#include "OutsideCalls.h"

namespace bench {

namespace {

constexpr double kLimit = 1.15;
constexpr double kDiskWriteLimit = 1.03;
constexpr const char* kMemory = "tmpfs";
constexpr const char* kDisk = "disk";
constexpr const char* kFile = "/opt/tv/picture.dat";

/** The operation beside the outside calls that it makes. What waits for a disk can add next to nothing to the wait. */
void CompareWithItsCalls(const std::string& what, const std::string& place, const Operation& operation)
{
    operation();  // what happens once only is not measured
    const OutsideCalls calls = OutsideCalls::Record(operation);
    const bool waitsForDisk = calls.Syncs() > 0 && place == kDisk;
    Compare comparison(what + ", " + place + calls.Told(), waitsForDisk ? kDiskWriteLimit : kLimit);
    comparison.Library(operation).Floor([calls] { calls.Replay(); });
    if (waitsForDisk) comparison.OrInsideSpread();
}

void ComparePictures(const std::filesystem::path& parent, const std::string& place, int items,
                     const std::function<void()>& measure)
{
    const std::string variant = ", " + std::to_string(items) + " items";
    const std::string suffix = items == 62 ? "-62" : "";
    const BenchSet set(parent, "tv15" + suffix, "box15" + suffix);
    VEMigration& migrator = *get_vemigration_instance();
    migration_api_do_vornBox_picture_data_sync(VB_INFO_VB_FAC_TO_TV_SPI);  // the strategy, and a service file
    PictureDataMigration pictures;
    std::vector<int> values;
    unsigned int* const uids = migrator.GetUIDArray();

    CompareWithItsCalls("picture store" + variant, place, [&] {
        pictures.t_StartMigration(uids, static_cast<unsigned int>(items), kFile, true);
    });
    CompareWithItsCalls("picture restore into the box" + variant, place, [&] { pictures.t_WriteToVB(kFile); });
    CompareWithItsCalls("picture verification" + variant, place, [&] { migrator.m_VerifyVornBoxDataSync(); });
    CompareWithItsCalls("picture sync, box to TV" + variant, place,
                        [&] { migrator.DoVornBoxDataSync(VB_INFO_VB_FAC_TO_TV_SPI); });
    CompareWithItsCalls("picture sync, TV to box" + variant, place,
                        [&] { migrator.DoVornBoxDataSync(VB_INFO_TV_SPI_TO_VB_FAC); });
    CompareWithItsCalls("picture load" + variant, place, [&] {
        values.clear();
        pictures.ReadValues(kFile, values);
    });
    measure();
}

}  // namespace

std::vector<Group> PictureGroups(const Places& places)
{
    std::vector<Group> groups;
    for (const int items : {44, 62}) {
        const std::string name = "picture" + std::to_string(items);
        groups.push_back(
            {name + "-memory", [=](const auto& measure) { ComparePictures(places.memory, kMemory, items, measure); }});
        groups.push_back(
            {name + "-disk", [=](const auto& measure) { ComparePictures(places.disk, kDisk, items, measure); }});
    }
    return groups;
}

}  // namespace bench
