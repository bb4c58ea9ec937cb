// The writer of the previous platform's backups into the factory store of the box: files as they are, or the contents of
// an enciphered one.

#include <LegacyBackup.h>
#include <PictureMigration.h>

#include "Fuzz.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr const char* kFile = "/opt/tv/legacy.dat";
    fuzz::Bytes bytes(data, size);
    const unsigned int count = bytes.Byte();
    const bool isEnciphered = bytes.Byte() % 2 == 0;
    std::string file = bytes.Rest();
    if (isEnciphered) {
        const auto whole = vbset::EncipherLegacy({file.begin(), file.end()});
        file.assign(whole.begin(), whole.end());
    }
    fuzz::WriteFile(kFile, file);
    std::vector<unsigned int> uids(count);
    for (unsigned int i = 0; i < count; ++i) uids[i] = vbset::ItemIds(44)[i % 44];
    PictureDataMigration pictures;
    const int result = pictures.t_WriteUlveyToVB(kFile, uids.data(), count);
    fuzz::Require(result == kPictureOk || result == kPictureFailure, "the result is one of two");
    return 0;
}
