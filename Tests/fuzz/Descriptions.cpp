// The descriptions of TVs and boxes.

#include <unistd.h>

#include <cstdlib>
#include <fstream>

#include "Fuzz.h"

namespace {

template <class Read>
void ReadOrRefuse(Read read, const std::string& file)
{
    try {
        read(file);
    } catch (const vbset::Error& error) {
        fuzz::Require(std::string(error.what()).find(file) != std::string::npos, "a refusal names the file");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::string file = fuzz::TheSet().TvDirectory().parent_path() / "description.toml";
    std::ofstream(file, std::ios::binary).write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    ReadOrRefuse(vbset::ReadTvDescription, file);
    ReadOrRefuse(vbset::ReadBoxDescription, file);
    return 0;
}
