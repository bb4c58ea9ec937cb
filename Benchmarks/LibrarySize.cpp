#include "LibrarySize.h"

#include <Set.h>

#include <elf.h>

#include <cstring>
#include <fstream>
#include <iterator>

namespace bench {

namespace {

/** A structure that lies somewhere in a file. */
template <typename Structure>
Structure At(const std::string& bytes, std::size_t offset)
{
    Structure structure;
    if (offset > bytes.size() || bytes.size() - offset < sizeof structure) throw vbset::Error("the file is cut off");
    std::memcpy(&structure, bytes.data() + offset, sizeof structure);
    return structure;
}

template <typename Header, typename Section>
void AddSections(const std::string& bytes, LibrarySize& size)
{
    const auto header = At<Header>(bytes, 0);
    for (std::size_t i = 0; i < header.e_shnum; ++i) {
        const auto section = At<Section>(bytes, header.e_shoff + i * header.e_shentsize);
        if ((section.sh_flags & SHF_ALLOC) == 0) continue;
        if ((section.sh_flags & SHF_WRITE) != 0) {
            size.data += section.sh_size;
        } else {
            size.text += section.sh_size;
        }
        const bool relocates = section.sh_type == SHT_REL || section.sh_type == SHT_RELA;
        if (relocates && section.sh_entsize != 0) size.relocations += section.sh_size / section.sh_entsize;
    }
}

}  // namespace

LibrarySize SizeOf(const std::string& name, const std::filesystem::path& file)
{
    std::ifstream in(file, std::ios::binary);
    if (!in.is_open()) throw vbset::Error(file.string() + " cannot be read");
    const std::string bytes{std::istreambuf_iterator<char>(in), {}};
    if (bytes.compare(0, SELFMAG, ELFMAG) != 0) throw vbset::Error(file.string() + " is no ELF file");
    constexpr char kOwnOrder = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? ELFDATA2LSB : ELFDATA2MSB;
    if (bytes.at(EI_DATA) != kOwnOrder) throw vbset::Error(file.string() + " has another byte order");
    LibrarySize size;
    size.name = name;
    if (bytes.at(EI_CLASS) == ELFCLASS32) {
        AddSections<Elf32_Ehdr, Elf32_Shdr>(bytes, size);
    } else {
        AddSections<Elf64_Ehdr, Elf64_Shdr>(bytes, size);
    }
    return size;
}

}  // namespace bench
