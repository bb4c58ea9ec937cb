#include <PictureMigration.h>
#include <VBMigration.h>
#include <VEMigration.h>

#include "BenchSet.h"
#include "Comparison.h"
#include "Groups.h"
#include "OutsideCalls.h"

namespace bench {

namespace {

constexpr double kMemoryLimit = 1.15;
constexpr double kDiskLimit = 1.03;
constexpr const char* kFile = "/opt/tv/picture.dat";

/** The operation beside the outside calls that it makes. */
void CompareWithItsCalls(const std::string& what, double limit, const Operation& operation)
{
    operation();  // what happens once only is not measured
    const OutsideCalls calls = OutsideCalls::Record(operation);
    Compare(what + " (" + std::to_string(calls.Count()) + " calls)", limit)
        .Library(operation)
        .Floor([calls] { calls.Replay(); });
}

void ComparePictures(const std::filesystem::path& parent, int items, const std::string& variant, double limit,
                     const std::function<void()>& measure)
{
    const std::string suffix = items == 62 ? "-62" : "";
    const BenchSet set(parent, "tv15" + suffix, "box15" + suffix);
    VEMigration& migrator = *get_vemigration_instance();
    migration_api_do_vornBox_picture_data_sync(VB_INFO_VB_FAC_TO_TV_SPI);  // the strategy, and a service file
    PictureDataMigration pictures;
    std::vector<int> values;
    unsigned int* const uids = migrator.GetUIDArray();

    CompareWithItsCalls("picture store" + variant, limit, [&] {
        pictures.t_StartMigration(uids, static_cast<unsigned int>(items), kFile, true);
    });
    CompareWithItsCalls("picture restore into the box" + variant, limit, [&] { pictures.t_WriteToVB(kFile); });
    CompareWithItsCalls("picture verification" + variant, limit, [&] { migrator.m_VerifyVornBoxDataSync(); });
    CompareWithItsCalls("picture sync, box to TV" + variant, limit,
                        [&] { migrator.DoVornBoxDataSync(VB_INFO_VB_FAC_TO_TV_SPI); });
    CompareWithItsCalls("picture sync, TV to box" + variant, limit,
                        [&] { migrator.DoVornBoxDataSync(VB_INFO_TV_SPI_TO_VB_FAC); });
    CompareWithItsCalls("picture load" + variant, limit, [&] {
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
        const std::string count = ", " + std::to_string(items) + " items";
        groups.push_back({"picture" + std::to_string(items) + "-memory", [=](const std::function<void()>& measure) {
                              ComparePictures(places.memory, items, count + ", tmpfs", kMemoryLimit, measure);
                          }});
        groups.push_back({"picture" + std::to_string(items) + "-disk", [=](const std::function<void()>& measure) {
                              ComparePictures(places.disk, items, count + ", disk", kDiskLimit, measure);
                          }});
    }
    return groups;
}

}  // namespace bench
