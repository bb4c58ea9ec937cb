#include "PictureItems.h"

#include <MigrationPath.h>
#include <PictureRecord.h>
#include <SystemInfo.h>
#include <VBMigration.h>

#include <climits>
#include <cstdlib>
#include <fstream>
#include <iterator>

namespace command {

namespace {

/** Made like the library makes it: from the backup path, with nothing between. */
std::string PictureFile()
{
    char* text = nullptr;
    std::string base;
    if (system_info_get_value_string(SYSTEM_INFO_KEY_BACKUP_PATH, &text) == 0 && text != nullptr) {
        base = text;
        std::free(text);
    } else {
        base = MigrationPath("migration/korvane_vbmg/");
    }
    return base + "SP_VB_Data/PictureMigrationData.dat";
}

/** The number of whole records at the beginning of a file. */
int CountRecords(const std::string& file)
{
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    const std::vector<unsigned char> bytes(text.begin(), text.end());
    const PictureRecords records(bytes.data(), bytes.size());
    PicFactoryData header;
    std::size_t offset = 0;
    int count = 0;
    while (records.HeaderAt(offset, header) && header.Size > 0 && records.HasData(offset, header)) {
        offset += kRecordHeaderSize + static_cast<std::size_t>(header.Size);
        ++count;
    }
    return count;
}

}  // namespace

int ExpectedItems()
{
    constexpr int kExtendedItemsChip = 3;
    return MigrationCommon::miTVMainChip == kExtendedItemsChip ? 62 : 44;
}

PictureItems::PictureItems() : file_(PictureFile()) { stat(file_.c_str(), &before_); }

bool PictureItems::IsTouched(const struct stat& after) const
{
    return before_.st_ino != after.st_ino || before_.st_mtim.tv_sec != after.st_mtim.tv_sec ||
           before_.st_mtim.tv_nsec != after.st_mtim.tv_nsec;
}

std::vector<Field> PictureItems::AfterDump() const
{
    struct stat after = {};
    const bool isThere = stat(file_.c_str(), &after) == 0 && after.st_size > 0;
    const int items = isThere ? CountRecords(file_) : 0;
    const int bytes = isThere && after.st_size <= INT_MAX ? static_cast<int>(after.st_size) : 0;
    const bool isWritten = isThere && IsTouched(after);
    const bool isComplete = isWritten && items == ExpectedItems();
    const char* const words = isComplete  ? "written"
                              : isWritten ? "NOT ALL WRITTEN"
                              : isThere   ? "NOT WRITTEN (there is an older file)"
                                          : "NOT WRITTEN";
    return {{"picture_items", isComplete, words},
            {"items", items, "of " + std::to_string(ExpectedItems())},
            {"bytes", bytes, {}}};
}

}  // namespace command
