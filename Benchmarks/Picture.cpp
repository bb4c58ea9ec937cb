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
Compare CompareWithItsCalls(const std::string& what, const std::string& place, const Operation& operation)
{
    Demand(operation(), what.c_str());  // what happens once only is not measured
    const OutsideCalls calls = OutsideCalls::Record(operation);
    const bool waitsForDisk = calls.Syncs() > 0 && place == kDisk;
    Compare comparison(what + ", " + place + calls.Told(), waitsForDisk ? kDiskWriteLimit : kLimit);
    comparison.Library(operation).Floor([calls] { return calls.Replay(); });
    if (waitsForDisk) comparison.OrInsideSpread();
    return comparison;
}

/** The same for what writes a picture file. */
void CompareStore(const std::string& what, const std::string& place, const Operation& store)
{
    Compare comparison = CompareWithItsCalls(what, place, store);
    comparison.SyncsOnce(OutsideCalls::Record(store).Syncs());
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
    unsigned int* const uids = migrator.GetUIDArray();

    CompareStore("picture store" + variant, place, [&] {
        return pictures.t_StartMigration(uids, static_cast<unsigned int>(items), kFile, true) == kPictureOk;
    });
    CompareWithItsCalls("picture restore into the box" + variant, place,
                        [&] { return pictures.t_WriteToVB(kFile) == kPictureOk; });
    CompareWithItsCalls("picture verification" + variant, place,
                        [&] { return migrator.m_VerifyVornBoxDataSync() == kPictureOk; });
    CompareStore("picture sync, box to TV" + variant, place,
                 [&] { return migrator.DoVornBoxDataSync(VB_INFO_VB_FAC_TO_TV_SPI) == kPictureOk; });
    CompareWithItsCalls("picture sync, TV to box" + variant, place,
                        [&] { return migrator.DoVornBoxDataSync(VB_INFO_TV_SPI_TO_VB_FAC) == kPictureOk; });
    CompareWithItsCalls("picture load" + variant, place, [&] {
        std::vector<int> values;  // as the library has it
        return pictures.ReadValues(kFile, values) == kPictureOk && values.size() == static_cast<std::size_t>(items);
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
