// The writer of picture files into the factory store of the box.

#include <PictureMigration.h>

#include "Fuzz.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr const char* kFile = "/opt/tv/picture.dat";
    fuzz::WriteFile(kFile, std::string(reinterpret_cast<const char*>(data), size));
    PictureDataMigration pictures;
    const int result = pictures.t_WriteToVB(kFile);
    fuzz::Require(result == kPictureOk || result == kPictureFailure, "the result is one of two");
    return 0;
}
