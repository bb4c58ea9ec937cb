#include <cstdio>
#include <set>

#include "Commands.h"
#include "Set.h"

namespace vbset {
namespace {

/** What a packaged description says it is; both kinds are told apart by reading them. */
std::string InWords(const std::filesystem::path& file)
{
    try {
        return "TV   " + ReadTvDescription(file).name;
    } catch (const Error&) {
        return "box  " + ReadBoxDescription(file).name;
    }
}

}  // namespace

int List()
{
    std::set<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(ShareDirectory())) {
        if (entry.path().extension() == ".toml") {
            files.insert(entry.path());
        }
    }
    for (const auto& file : files) {
        std::printf("%-24s %s\n", file.stem().c_str(), InWords(file).c_str());
    }
    return exitDone;
}

int New(const std::string& description, const std::filesystem::path& directory)
{
    Create(description, std::filesystem::absolute(directory));
    return exitDone;
}

}  // namespace vbset
