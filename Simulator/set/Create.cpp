#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>
#include <system_error>

#include "Description.h"
#include "FactoryStore.h"
#include "HostFile.h"
#include "Layout.h"
#include "LegacyBackup.h"
#include "PathTable.h"
#include "Set.h"

namespace vbset {

namespace {

namespace fs = std::filesystem;

/** A directory under another name that takes its own when all is in it, and goes when something fails before. */
class NewDirectory {
 public:
    explicit NewDirectory(const fs::path& final) : final_(final), path_(final)
    {
        path_.replace_filename("." + final.filename().string() + "." + std::to_string(getpid()));
        fs::create_directory(path_);
    }
    ~NewDirectory()
    {
        std::error_code ignored;
        if (!path_.empty()) fs::remove_all(path_, ignored);
    }
    NewDirectory(const NewDirectory&) = delete;
    NewDirectory& operator=(const NewDirectory&) = delete;

    const fs::path& Path() const { return path_; }

    void Keep()
    {
        fs::rename(path_, final_);
        path_.clear();
    }

 private:
    fs::path final_;
    fs::path path_;
};

void Need(int error, const fs::path& file)
{
    if (error != 0) throw Error("cannot write " + file.string() + ": " + std::strerror(error));
}

void Put(const fs::path& file, const std::vector<unsigned char>& bytes)
{
    Need(WriteHostFile(file, bytes), file);
}

void FillTv(const fs::path& directory, const TvDescription& tv)
{
    for (const auto& made : {layout::Eeprom(directory), layout::DataSync(directory), layout::BareMigration(directory),
                             layout::BareDataSync(directory), layout::WorkingDirectory(directory)}) {
        fs::create_directories(made);
    }
    if (tv.legacyDataDirectory) fs::create_directory(layout::BareMigration(directory) / "SP_VB_DATA");
    Put(layout::EepromItem(directory, 0x1E04), {tv.mac.begin(), tv.mac.end()});
    Put(layout::EepromItem(directory, 0xF211), {0xFF});
}

void FillBox(const fs::path& directory, const BoxDescription& box)
{
    fs::create_directories(layout::Factory(directory));
    fs::create_directories(layout::Migration(directory));
    const FactoryStore store(directory);
    for (const auto& [uid, item] : SeededItems(box.items, box.seed)) {
        Need(store.Write(uid, item), layout::Factory(directory));
    }
    Mac blank;
    blank.fill(0xFF);
    const Mac mac = box.macBlock.value_or(blank);
    Put(layout::MacBlock(directory), {mac.begin(), mac.end()});
    const std::string partition = std::to_string(box.bootPartition);
    Put(layout::BootPartition(directory), {partition.begin(), partition.end()});
    if (box.legacyBackup) {
        Put(layout::Migration(directory) / "legacy.tar",
            LegacyArchive(EncipherLegacy(LegacyRecords(box.items, box.seed))));
    }
}

std::string PackagedNames()
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(ShareDirectory())) {
        if (entry.path().extension() == ".toml") names.insert(entry.path().stem().string());
    }
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ", ") + name;
    return text;
}

fs::path FindDescription(const std::string& description)
{
    const bool isPath = description.find('/') != std::string::npos || fs::is_regular_file(description);
    if (isPath) return description;
    const fs::path packaged = ShareDirectory() / (description + ".toml");
    if (fs::is_regular_file(packaged)) return packaged;
    throw Error("there is no description '" + description + "': no such file, and those that come along are " +
                PackagedNames());
}

void Make(const std::string& description, const fs::path& directory)
{
    const fs::path file = FindDescription(description);
    const bool isTv = ReadSide(file) == Side::Tv;
    // Read before anything is made, and copied as it stands, comments included.
    const TvDescription tv = isTv ? ReadTvDescription(file) : TvDescription{};
    const BoxDescription box = isTv ? BoxDescription{} : ReadBoxDescription(file);

    const fs::path wanted = fs::weakly_canonical(directory / ".").parent_path();
    if (fs::exists(fs::symlink_status(wanted))) throw Error(directory.string() + " exists already");
    if (IsPathOfASet(wanted)) throw Error(directory.string() + " is a path of the set itself: put the set elsewhere");
    if (!fs::is_directory(wanted.parent_path())) throw Error("there is no directory " + wanted.parent_path().string());

    NewDirectory made(wanted);
    if (isTv) {
        FillTv(made.Path(), tv);
    } else {
        FillBox(made.Path(), box);
    }
    fs::copy_file(file, made.Path() / (isTv ? "tv.toml" : "box.toml"));
    made.Keep();
}

}  // namespace

void Create(const std::string& description, const std::filesystem::path& directory)
{
    try {
        Make(description, directory);
    } catch (const fs::filesystem_error& error) {
        throw Error("cannot make " + directory.string() + ": " + error.code().message());
    }
}

}  // namespace vbset
