#include "VornBoxEncrypt.h"

#include <sys/stat.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "Answer.h"
#include "HostFile.h"
#include "LegacyBackup.h"

namespace {

/** Where the file lies; a path that is not the set's is taken as it is, relative to the working directory. */
std::string HostPath(const char* path)
{
    char mapped[PATH_MAX];
    return vbset::live::MapPath(path, mapped, sizeof mapped) ? mapped : path;
}

vbset::Legacy Open(const char* path, std::vector<unsigned char>& records)
{
    const auto file = vbset::ReadHostFile(HostPath(path));
    return file ? vbset::DecipherLegacy(*file, records) : vbset::Legacy::NoSuchFile;
}

long FileSize(const char* path)
{
    if (const auto fault = vbset::FaultNumber("encrypt.size")) return *fault;
    struct stat status {};
    const bool found = path != nullptr && stat(HostPath(path).c_str(), &status) == 0 && S_ISREG(status.st_mode);
    return found ? static_cast<long>(status.st_size) : 0;
}

int Import(unsigned char** buffer, int* length, const char* path)
{
    constexpr int badArgument = -1;
    constexpr int noMemory = -2;
    const int fault = vbset::FaultNumber("encrypt.import").value_or(0);
    if (fault != 0) return fault;
    if (buffer == nullptr || length == nullptr || path == nullptr) return badArgument;
    std::vector<unsigned char> records;
    const auto opened = static_cast<int>(Open(path, records));
    if (opened != 0) return opened;
    const int told = vbset::FaultNumber("encrypt.length").value_or(static_cast<int>(records.size()));
    records.resize(std::max(records.size(), static_cast<std::size_t>(std::max(told, 1))), 0);
    auto* copy = static_cast<unsigned char*>(std::malloc(records.size()));
    if (copy == nullptr) return noMemory;
    std::memcpy(copy, records.data(), records.size());
    *buffer = copy;
    *length = told;
    return 0;
}

}  // namespace

long vb_get_file_size(const char* path)
{
    return vbset::Answer(0L, [&](const vbset::Here&) {
        return vbset::Traced("vb_get_file_size", path == nullptr ? "NULL" : path, FileSize(path));
    });
}

int vb_import_buf(unsigned char** buffer, int* length, const char* path, int option)
{
    return vbset::Answer(-1, [&](const vbset::Here&) {
        // Made first: without memory for them the call fails before there is a buffer to lose.
        const std::string args = std::string(path == nullptr ? "NULL" : path) + ' ' + std::to_string(option);
        const int result = Import(buffer, length, path);
        return vbset::Traced("vb_import_buf", args, result, result == 0 ? std::to_string(*length) : "");
    });
}

void vb_free_buffer(unsigned char* buffer)
{
    std::free(buffer);
    vbset::live::Trace("platform", "vb_free_buffer", buffer == nullptr ? "NULL" : "", "");
}
