#include "PowerLoss.h"

#include <filesystem>
#include <map>
#include <set>

#include "HostFile.h"
#include "Layout.h"
#include "PowerCut.h"

namespace vbset {
namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<unsigned char>;

/** What is written without being durable at once: below the names under which it is kept. EEPROM, factory store and what
 * only the service writes are durable. */
std::map<std::string, fs::path> Areas(const Set& set)
{
    const fs::path& tv = set.TvDirectory();
    const fs::path& box = set.BoxDirectory();
    return {{"data_sync", layout::DataSync(tv)},
            {"mac", layout::MacBlock(box)},
            {"migration", layout::Migration(box)},
            {"root", layout::Root(tv)},
            {"work", layout::WorkingDirectory(tv)}};
}

/** Names of the files below a directory, or "" for a file itself. */
std::set<std::string> FilesBelow(const fs::path& path)
{
    std::set<std::string> names;
    if (fs::is_regular_file(path)) {
        names.insert("");
    } else if (fs::is_directory(path)) {
        for (const auto& entry : fs::recursive_directory_iterator(path)) {
            if (entry.is_regular_file()) {
                names.insert(entry.path().lexically_relative(path).string());
            }
        }
    }
    return names;
}

fs::path Below(const fs::path& area, const std::string& name)
{
    return name.empty() ? area : area / name;
}

/** A file that is not as it was when it was last synced. */
struct Unsynced {
    fs::path file;
    fs::path durable;
};

std::map<std::string, Unsynced> FindUnsynced(const Set& set)
{
    std::map<std::string, Unsynced> found;
    for (const auto& [area, directory] : Areas(set)) {
        const fs::path durable = layout::Durable(set.TvDirectory()) / area;
        std::set<std::string> names = FilesBelow(directory);
        names.merge(FilesBelow(durable));
        for (const std::string& name : names) {
            const Unsynced file{Below(directory, name), Below(durable, name)};
            if (ReadHostFile(file.file) != ReadHostFile(file.durable)) {
                found[name.empty() ? area : area + "/" + name] = file;
            }
        }
    }
    return found;
}

void Settle(const Unsynced& unsynced, char outcome)
{
    const bool isDevice = unsynced.durable.filename() == "mac";
    if (outcome == 'o' || (outcome == 'z' && isDevice)) {
        fs::remove(unsynced.file);
        if (fs::exists(unsynced.durable)) {
            fs::create_directories(unsynced.file.parent_path());
            fs::copy_file(unsynced.durable, unsynced.file);
        }
    } else if (outcome == 'z' && fs::exists(unsynced.file)) {
        WriteHostFile(unsynced.file, Bytes(static_cast<std::size_t>(fs::file_size(unsynced.file)), 0));
    }
}

}  // namespace

void KeepDurable(const Set& set)
{
    const fs::path durable = layout::Durable(set.TvDirectory());
    try {
        fs::remove_all(durable);
        fs::create_directory(durable);
        for (const auto& [area, path] : Areas(set)) {
            if (fs::exists(path)) {
                fs::copy(path, durable / area, fs::copy_options::recursive);
            }
        }
    } catch (const fs::filesystem_error& error) {
        throw Error("cannot keep what a power cut leaves: " + std::string(error.what()));
    }
}

void LosePower(Set& set, const std::string& unsynced)
{
    try {
        std::size_t position = 0;
        for (const auto& entry : FindUnsynced(set)) {
            Settle(entry.second, Outcome(unsynced, position++));
        }
    } catch (const fs::filesystem_error& error) {
        throw Error("cannot leave what a power cut leaves: " + std::string(error.what()));
    }
    set.PowerOff();
}

}  // namespace vbset
