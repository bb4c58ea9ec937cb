#include "Archive.h"

namespace powercut {

namespace {

const std::string magic = "archive:";
constexpr std::size_t lengthSize = 6;

}  // namespace

Bytes PackArchive(const Bytes& file)
{
    std::string length = std::to_string(file.size());
    return magic + length.insert(0, lengthSize - length.size(), '0') + file;
}

std::optional<Bytes> UnpackArchive(const Bytes& archive)
{
    const std::size_t head = magic.size() + lengthSize;
    if (archive.size() < head || archive.compare(0, magic.size(), magic) != 0) return std::nullopt;
    if (std::stoul(archive.substr(magic.size(), lengthSize)) != archive.size() - head) return std::nullopt;
    return archive.substr(head);
}

}  // namespace powercut
