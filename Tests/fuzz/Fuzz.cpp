#include "Fuzz.h"

#include <Live.h>
#include <PlatformLog.h>

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>

namespace fuzz {

namespace fs = std::filesystem;

namespace {

/** A set in a directory of its own. */
class TemporarySet {
 public:
    TemporarySet()
    {
        const fs::path before = fs::current_path();
        const char* const tv = std::getenv("FUZZ_TV");
        vbset::Create(tv != nullptr ? tv : "tv14", directory_ / "tv");
        vbset::Create("box14", directory_ / "box");
        set_ = std::make_unique<vbset::Set>(directory_ / "tv", directory_ / "box");
        set_->PowerOn();
        set_->Enter();
        fs::current_path(before);  // files that the command line names are meant from there
        vbset::live::SetTracing(false);
        for (const char* command : {"spi_init.sh", "MigrationScript.sh", "mkdir", "rm"}) {
            vbset::live::SetFault((std::string("local.") + command).c_str(), "0");
        }
    }
    ~TemporarySet()
    {
        set_.reset();
        std::error_code ignored;
        fs::remove_all(directory_, ignored);
    }
    TemporarySet(const TemporarySet&) = delete;
    TemporarySet& operator=(const TemporarySet&) = delete;

    vbset::Set& Get() { return *set_; }

 private:
    static fs::path NewDirectory()
    {
        for (const fs::path& parent : {fs::path("/dev/shm"), fs::temp_directory_path()}) {
            std::string name = parent / "fuzz-XXXXXX";
            if (mkdtemp(name.data()) != nullptr) return name;
        }
        std::abort();
    }

    fs::path directory_ = NewDirectory();
    std::unique_ptr<vbset::Set> set_;
};

}  // namespace

std::uint8_t Bytes::Byte()
{
    if (size_ == 0) return 0;
    --size_;
    return *data_++;
}

int Bytes::Word()
{
    std::uint32_t word = 0;
    for (unsigned int shift = 0; shift < 32; shift += 8) word |= static_cast<std::uint32_t>(Byte()) << shift;
    return static_cast<int>(word);
}

std::string Bytes::Take(std::size_t count)
{
    const std::size_t taken = std::min(count, size_);
    std::string text(reinterpret_cast<const char*>(data_), taken);
    data_ += taken;
    size_ -= taken;
    return text;
}

std::string Bytes::Text()
{
    return Take(Byte());
}

std::string Bytes::Rest()
{
    return Take(size_);
}

vbset::Set& TheSet()
{
    static TemporarySet set;
    return set.Get();
}

void WriteFile(const std::string& path, const std::string& bytes)
{
    static std::string host;
    host = TheSet().Map(path).value();
    std::ofstream file(host, std::ios::binary | std::ios::trunc);
    file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

void Require(bool kept, const char* promise)
{
    if (kept) return;
    std::fprintf(stderr, "not kept: %s\n", promise);
    std::abort();
}

}  // namespace fuzz

/** In the place of the set's: formats as a platform log does, and keeps nothing. */
int __dlog_print(int, int, const char*, const char* format, ...)
{
    static thread_local std::array<char, 4096> line;
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(line.data(), line.size(), format, arguments);
    va_end(arguments);
    return length;
}
