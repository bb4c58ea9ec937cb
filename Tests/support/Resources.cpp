#include "Resources.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace fs = std::filesystem;

namespace {

int CountLines(const fs::path& file)
{
    std::ifstream in(file);
    return static_cast<int>(std::count(std::istreambuf_iterator<char>(in), {}, '\n'));
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
    now.mappings = CountLines("/proc/self/maps");
    now.temporaryFiles = CountEntries(fs::temp_directory_path());
    return now;
}

bool Resources::AreNoMoreThan(const Resources& before) const
{
    constexpr int kOfTheAllocator = 64;  // regions that it may need more; what is lost again and again soon exceeds that
    const bool areOldDescriptors =
        std::includes(before.descriptors.begin(), before.descriptors.end(), descriptors.begin(), descriptors.end());
    return areOldDescriptors && children <= before.children && threads <= before.threads &&
           mappings <= before.mappings + kOfTheAllocator && temporaryFiles <= before.temporaryFiles;
}

std::ostream& operator<<(std::ostream& out, const Resources& resources)
{
    out << resources.children << " children, " << resources.threads << " threads, " << resources.mappings
        << " mappings, " << resources.temporaryFiles << " temporary files, descriptors:";
    for (const auto& [number, target] : resources.descriptors) out << ' ' << number << '=' << target;
    return out;
}
