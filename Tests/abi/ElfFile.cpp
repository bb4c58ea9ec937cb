#include "ElfFile.h"

#include <elf.h>
#include <link.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <vector>

namespace {

using Header = ElfW(Ehdr);
using Section = ElfW(Shdr);
using Symbol = ElfW(Sym);
using Entry = ElfW(Dyn);

class Image {
 public:
    explicit Image(const std::filesystem::path& file)
    {
        std::ifstream in(file, std::ios::binary);
        bytes_.assign(std::istreambuf_iterator<char>(in), {});
        header_ = At<Header>(0);
        if (std::memcmp(header_.e_ident, ELFMAG, SELFMAG) != 0 || header_.e_shentsize != sizeof(Section)) {
            throw std::runtime_error(file.string() + " is no library of this machine");
        }
    }

    template <class Record>
    Record At(std::size_t offset) const
    {
        if (offset > bytes_.size() || bytes_.size() - offset < sizeof(Record)) {
            throw std::runtime_error("the library is cut short");
        }
        Record record;
        std::memcpy(&record, bytes_.data() + offset, sizeof record);
        return record;
    }

    Section SectionAt(std::size_t index) const { return At<Section>(header_.e_shoff + index * sizeof(Section)); }

    std::optional<Section> FindSection(unsigned int type) const
    {
        for (std::size_t i = 0; i < header_.e_shnum; ++i) {
            if (SectionAt(i).sh_type == type) {
                return SectionAt(i);
            }
        }
        return std::nullopt;
    }

    Section SectionOfType(unsigned int type) const
    {
        const std::optional<Section> section = FindSection(type);
        if (!section) {
            throw std::runtime_error("the library has no section of type " + std::to_string(type));
        }
        return *section;
    }

    /** The entries of a section. */
    template <class Record>
    std::vector<Record> Records(const Section& section) const
    {
        std::vector<Record> records;
        for (std::size_t offset = 0; offset + sizeof(Record) <= section.sh_size; offset += sizeof(Record)) {
            records.push_back(At<Record>(section.sh_offset + offset));
        }
        return records;
    }

    /** A text of the string table that belongs to a section. */
    std::string Text(const Section& section, std::size_t offset) const
    {
        std::string text;
        for (std::size_t at = SectionAt(section.sh_link).sh_offset + offset; At<char>(at) != '\0'; ++at) {
            text += At<char>(at);
        }
        return text;
    }

 private:
    std::vector<char> bytes_;
    Header header_{};
};

/** The versions that a library defines, by the number that its symbols give them: 2 and up, the first two are no names. */
std::map<unsigned int, std::string> OwnVersions(const Image& image)
{
    std::map<unsigned int, std::string> names;
    const std::optional<Section> section = image.FindSection(SHT_GNU_verdef);
    std::size_t offset = section ? section->sh_offset : 0;
    for (std::size_t i = 0; section && i < section->sh_info; ++i) {
        const auto version = image.At<ElfW(Verdef)>(offset);
        const auto name = image.At<ElfW(Verdaux)>(offset + version.vd_aux);
        if ((version.vd_flags & VER_FLG_BASE) == 0) {
            names[version.vd_ndx] = image.Text(*section, name.vda_name);
        }
        offset += version.vd_next;
    }
    return names;
}

}  // namespace

ElfFile ReadElfFile(const std::filesystem::path& file)
{
    const Image image(file);
    ElfFile result;
    const Section dynamic = image.SectionOfType(SHT_DYNAMIC);
    for (const Entry& entry : image.Records<Entry>(dynamic)) {
        if (entry.d_tag == DT_SONAME) {
            result.name = image.Text(dynamic, entry.d_un.d_val);
        } else if (entry.d_tag == DT_RUNPATH) {
            result.runPath = image.Text(dynamic, entry.d_un.d_val);
        } else if (entry.d_tag == DT_NEEDED) {
            result.needed.insert(image.Text(dynamic, entry.d_un.d_val));
        }
    }
    const Section symbols = image.SectionOfType(SHT_DYNSYM);
    const std::vector<ElfW(Versym)> versions = image.Records<ElfW(Versym)>(image.SectionOfType(SHT_GNU_versym));
    const std::map<unsigned int, std::string> names = OwnVersions(image);
    std::size_t index = 0;
    for (const Symbol& symbol : image.Records<Symbol>(symbols)) {
        const unsigned int version = versions.at(index++);
        const std::string name = image.Text(symbols, symbol.st_name);
        const bool isLocal = ELF64_ST_BIND(symbol.st_info) == STB_LOCAL;
        const bool isNameOfAVersion = symbol.st_shndx == SHN_ABS;
        if (isLocal || isNameOfAVersion) {
            continue;
        }
        if (symbol.st_shndx == SHN_UNDEF) {
            result.undefined.insert(name);
        } else {
            const auto named = names.find(version);
            result.exported[name] = named == names.end() ? "" : named->second;
        }
    }
    return result;
}

std::map<std::string, ElfPlace> ReadElfSymbols(const std::filesystem::path& file)
{
    const Image image(file);
    const Section symbols = image.SectionOfType(SHT_SYMTAB);
    std::map<std::string, ElfPlace> places;
    for (const Symbol& symbol : image.Records<Symbol>(symbols)) {
        const int type = ELF64_ST_TYPE(symbol.st_info);
        if (symbol.st_shndx != SHN_UNDEF && (type == STT_FUNC || type == STT_OBJECT)) {
            places[image.Text(symbols, symbol.st_name)] = {symbol.st_value, symbol.st_size};
        }
    }
    return places;
}
