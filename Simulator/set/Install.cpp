#include <dlfcn.h>

#include <climits>
#include <cstdlib>

#include "Set.h"

namespace vbset {

namespace {

namespace fs = std::filesystem;

/** Where this library was loaded from. Found out while it is being loaded: the name may be relative to a working
 * directory that is left later on. */
fs::path OwnFile()
{
    static const int inside = 0;
    Dl_info info{};
    char real[PATH_MAX];
    if (dladdr(&inside, &info) == 0 || realpath(info.dli_fname, real) == nullptr) return {};
    return real;
}

const fs::path ownFile = OwnFile();

fs::path FindUpwards(const fs::path& wanted)
{
    for (fs::path at = ownFile; at.has_relative_path(); at = at.parent_path()) {
        std::error_code error;
        const fs::path found = at.parent_path() / wanted;
        if (fs::is_directory(found, error)) return found;
    }
    throw Error("there is no " + wanted.string() + " above " + ownFile.string());
}

}  // namespace

fs::path LibexecDirectory()
{
    return FindUpwards("libexec/vbset");
}

fs::path ShareDirectory()
{
    return FindUpwards("share/vbset");
}

fs::path PathsLibrary()
{
    return ownFile.parent_path() / "libvbset-paths.so";
}

std::string PreloadedPathsLibrary()
{
    const fs::path library = PathsLibrary();
    const fs::path libraries = library.parent_path().parent_path();
    const bool isOneOfSeveral = library.parent_path() == libraries / LIBRARY_ARCHITECTURE && libraries.filename() == "lib";
    return isOneOfSeveral ? libraries.parent_path() / "$LIB" / library.filename() : library;
}

}  // namespace vbset
