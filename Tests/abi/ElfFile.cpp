#include "ElfFile.h"

#include <elf.h>
#include <link.h>

#include <cstring>
#include <fstream>
#include <iterator>
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

    Section SectionOfType(unsigned int type) const
    {
        for (std::size_t i = 0; i < header_.e_shnum; ++i) {
            if (SectionAt(i).sh_type == type) {
                return SectionAt(i);
            }
        }
        throw std::runtime_error("the library has no section of type " + std::to_string(type));
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

}  // namespace

ElfFile ReadElfFile(const std::filesystem::path& file)
{
    const Image image(file);
    ElfFile result;
    const Section dynamic = image.SectionOfType(SHT_DYNAMIC);
    for (const Entry& entry : image.Records<Entry>(dynamic)) {
        if (entry.d_tag == DT_SONAME) {
            result.name = image.Text(dynamic, entry.d_un.d_val);
        } else if (entry.d_tag == DT_NEEDED) {
            result.needed.insert(image.Text(dynamic, entry.d_un.d_val));
        }
    }
    const Section symbols = image.SectionOfType(SHT_DYNSYM);
    for (const Symbol& symbol : image.Records<Symbol>(symbols)) {
        const bool isLocal = ELF64_ST_BIND(symbol.st_info) == STB_LOCAL;
        const bool isNameOfAVersion = symbol.st_shndx == SHN_ABS;
        if (!isLocal && !isNameOfAVersion) {
            std::set<std::string>& names = symbol.st_shndx == SHN_UNDEF ? result.undefined : result.exported;
            names.insert(image.Text(symbols, symbol.st_name));
        }
    }
    return result;
}
