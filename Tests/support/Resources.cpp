#include "Resources.h"

#include <Soon.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

namespace fs = std::filesystem;

namespace {

/** Without regions that show no file, of which an allocator asks for as many as it pleases, and without the system's
 * libraries and caches, which stay once they have been of use. */
int CountMappedFiles()
{
    std::ifstream in("/proc/self/maps");
    int mappings = 0;
    for (std::string region; std::getline(in, region);) {
        const auto path = region.find('/');
        if (path != std::string::npos && region.compare(path, 5, "/usr/") != 0) ++mappings;
    }
    return mappings;
}

int CountEntries(const fs::path& directory)
{
    return static_cast<int>(std::distance(fs::directory_iterator(directory), {}));
}

/** The children of every thread. */
int CountChildren()
{
    int children = 0;
    for (const auto& thread : fs::directory_iterator("/proc/self/task")) {
        std::ifstream in(thread.path() / "children");
        children += static_cast<int>(std::distance(std::istream_iterator<int>(in), {}));
    }
    return children;
}

}  // namespace

Resources Resources::Now()
{
    Resources now;
    for (int descriptor = 0; descriptor < 1024; ++descriptor) {
        std::error_code error;
        const fs::path target = fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error);
        if (!error) now.descriptors[descriptor] = target;
    }
    now.children = CountChildren();
    now.threads = CountEntries("/proc/self/task");
    now.mappings = CountMappedFiles();
    now.temporaryFiles = CountEntries(fs::temp_directory_path());
    return now;
}

Resources Resources::NowOrSoon(const Resources& before)
{
    Resources now;
    Soon([&] {
        now = Now();
        return now.AreNoMoreThan(before);
    });
    return now;
}

bool Resources::AreNoMoreThan(const Resources& before) const
{
    const bool areOldDescriptors =
        std::includes(before.descriptors.begin(), before.descriptors.end(), descriptors.begin(), descriptors.end());
    return areOldDescriptors && children <= before.children && threads <= before.threads &&
           mappings <= before.mappings && temporaryFiles <= before.temporaryFiles;
}

std::ostream& operator<<(std::ostream& out, const Resources& resources)
{
    out << resources.children << " children, " << resources.threads << " threads, " << resources.mappings
        << " mappings, " << resources.temporaryFiles << " temporary files, descriptors:";
    for (const auto& [number, target] : resources.descriptors) out << ' ' << number << '=' << target;
    return out;
}

OwnTemporaryFiles::OwnTemporaryFiles()
{
    std::string name = fs::temp_directory_path() / "own-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
    directory_ = name;
    setenv("TMPDIR", name.c_str(), 1);
}

OwnTemporaryFiles::~OwnTemporaryFiles()
{
    setenv("TMPDIR", directory_.parent_path().c_str(), 1);
    std::error_code ignored;
    fs::remove_all(directory_, ignored);
}
