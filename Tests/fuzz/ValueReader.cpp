// The reader of values from a picture file.

#include <PictureMigration.h>
#include <PictureRecord.h>

#include <algorithm>
#include <array>

#include "Fuzz.h"

namespace {

constexpr const char* kFile = "/opt/tv/picture.dat";
constexpr int kLongestValue = 40;
constexpr int kLongestRecord = 255;

/** What a file says. */
struct Expected {
    std::vector<int> values;
    bool endsWithRecord = false;
};

/** Reads a file as it is documented to be read. Records that end the process, which they are documented to do, are made
 * shorter first. */
Expected Expect(std::string& file)
{
    Expected expected;
    std::array<unsigned char, kLongestValue> value{};  // a short record keeps the upper bytes of the one before
    std::size_t offset = 0;
    while (file.size() - offset >= kRecordHeaderSize) {
        auto* const header = reinterpret_cast<unsigned char*>(file.data() + offset);
        auto size = static_cast<std::int32_t>(LoadLittleEndian32(header + 8));
        if (size > kLongestValue && size <= kLongestRecord) {
            size = 1 + size % kLongestValue;
            StoreLittleEndian32(static_cast<std::uint32_t>(size), header + 8);
        }
        offset += kRecordHeaderSize;
        if (size < 1 || size > kLongestRecord) {  // no data, whatever follows
            expected.values.push_back(0);
            continue;
        }
        const auto length = static_cast<std::size_t>(size);
        if (length > file.size() - offset) return expected;
        std::copy_n(header + kRecordHeaderSize, length, value.begin());
        expected.values.push_back(static_cast<int>(LoadLittleEndian32(value.data())));
        offset += length;
    }
    expected.endsWithRecord = offset == file.size();
    return expected;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::string file(reinterpret_cast<const char*>(data), size);
    const Expected expected = Expect(file);
    fuzz::WriteFile(kFile, file);

    PictureDataMigration pictures;
    std::vector<int> values;
    const int result = pictures.ReadValues(kFile, values);
    if (file.empty()) {
        fuzz::Require(result == kPictureNoFile, "an empty file is no file");
        return 0;
    }
    fuzz::Require(result == (expected.endsWithRecord ? kPictureOk : kPictureFailure), "only whole records are a success");
    fuzz::Require(values == expected.values, "every record has its value");

    constexpr int kGuard = 0x5EA1ED;
    std::vector<int> room(expected.values.size() + 1, kGuard);
    pictures.t_ReadMigrationSPIData(room.data(), kFile);
    fuzz::Require(room.back() == kGuard, "nothing is written beyond the records");
    return 0;
}
