/** @file
 * A simulated set: a TV joined to a box, two directories.
 *
 * Each side holds its description (tv.toml, box.toml), nonvolatile/ (what a power cut leaves) and volatile/ (what it
 * takes). Both sides of a set are on or off together; a box that moves to another TV is switched off on the way.
 *
 * What is volatile, all of it made anew by PowerOn():
 *
 *     TV/volatile/joined, BOX/volatile/joined   the directory of the other side; without them the set is off
 *     TV/volatile/paths                         where the set's paths lie, "PREFIX<TAB>TARGET" a row
 *     TV/volatile/faults                        the faults that are on, "KEY=VALUE" a line
 *     TV/volatile/counter                       number of the last interaction (live::Trace)
 *     TV/volatile/mnt/migration, data_sync      symlinks to what is seen at the mount points
 *     TV/volatile/dev/system, frontend0         the device nodes the TV has
 *     TV/volatile/gpio/107 ... 175              GPIO levels, decimal
 *     TV/volatile/buffer_ic, tuner_mute         decimal, at first 1 (enabled) and 0 (not muted)
 *     TV/volatile/module                        there while the migration module is loaded
 *     TV/volatile/backup_path, restore_path     keys 247 and 248 for the scripts, when the description has them
 *     TV/volatile/flash.PARTITION.FREE          bytes in use when the fault flash.PARTITION.free was first looked at
 */
#pragma once

#include <array>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace vbset {

using Mac = std::array<unsigned char, 6>;

/** One factory item as it lies in the factory store of the box. */
struct FactoryItem {
    std::uint32_t storeType = 0;
    std::vector<unsigned char> data;
    bool operator==(const FactoryItem& other) const { return storeType == other.storeType && data == other.data; }
};

/** What went wrong, as one line for a person; nothing was changed. */
struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/** What tv.toml says. */
struct TvDescription {
    std::string name;
    int year = 0;      ///< key 254
    int mainChip = 0;  ///< key 253; 3 is a 62-item set
    int duolink = 1;   ///< key 705
    int ciSlots = 0;   ///< key 241
    std::optional<std::string> backupPath;   ///< key 247; absent: the key cannot be read
    std::optional<std::string> restorePath;  ///< key 248; likewise
    Mac mac{};         ///< what EEPROM item 0x1E04 holds at first
    std::optional<Mac> micomMac;             ///< absent: the micom cannot give one
    bool hasSystemDevice = true;             ///< /dev/system exists
    bool hasFrontend = true;                 ///< the tuner frontend exists
    bool gpioReadsStoreFourBytes = false;    ///< the driver stores 4 bytes for GPIO 172 to 175
    bool legacyDataDirectory = false;        ///< /opt/korvane_vbmg/SP_VB_DATA exists
    std::map<int, int> gpio;                 ///< level by number: 107, 153, 165, 172 to 175
    std::map<std::string, std::string> faults;
};

/** What box.toml says. */
struct BoxDescription {
    std::string name;
    int year = 0;      ///< key 252
    int mainChip = 0;  ///< key 251
    int items = 44;    ///< number of factory items, 44 or 62
    std::uint32_t seed = 1;                  ///< from which the values of the factory items are made
    std::optional<Mac> macBlock;             ///< absent: blank, all 0xFF
    bool legacyBackup = false;               ///< the migration partition carries a backup of the previous platform
    int bootPartition = 0;
    std::map<std::string, std::string> faults;
};

/** Reads and checks a description. @throw Error that names the file, the line and what is wrong */
TvDescription ReadTvDescription(const std::filesystem::path& file);
BoxDescription ReadBoxDescription(const std::filesystem::path& file);

/** Checks that a fault is one of the set's and its value one that it can have.
 * @throw Error that says what is wrong */
void CheckFault(const std::string& key, const std::string& value);

/** Makes a TV or a box from a description: the path of a TOML file, or the name of one that comes with the simulator.
 * @throw Error when the description is bad or @p directory exists; then nothing is left behind */
void Create(const std::string& description, const std::filesystem::path& directory);

/** The factory item ids of a set of 44 or 62 items, in item-table order. */
const std::vector<std::uint32_t>& ItemIds(int items);

/** The item data that a box made with this seed holds. */
std::map<std::uint32_t, FactoryItem> SeededItems(int items, std::uint32_t seed);

/** Where the simulator's own files lie: libexec/vbset (vbset-sh, vbset-service, the scripts), share/vbset
 * (descriptions) and the preloaded library; found upwards from where libvbset.so was loaded. */
std::filesystem::path LibexecDirectory();
std::filesystem::path ShareDirectory();
std::filesystem::path PathsLibrary();

/** The preloaded library as LD_PRELOAD names it. A program of another architecture than this one's needs that library's
 * build for its own: where libraries lie in lib/ARCHITECTURE, each program's dynamic linker takes the one it can use. */
std::string PreloadedPathsLibrary();

class Set {
 public:
    /** Opens a TV joined to a box. @throw Error when a directory is missing or a description is bad */
    Set(const std::filesystem::path& tv, const std::filesystem::path& box);
    ~Set();
    Set(const Set&) = delete;
    Set& operator=(const Set&) = delete;

    /** Keeps every other run off both sides until this object is gone. @throw Error when one is in use */
    void Lock();

    /** Switches the set on unless it is on already: what is volatile is made anew. */
    void PowerOn();

    /** Drops what is volatile. */
    void PowerOff();

    /** Puts the faults of the two descriptions and these in place of those that are on; the set must be on.
     * @throw Error when one is not a fault of the set, see CheckFault() */
    void SetFaults(const std::map<std::string, std::string>& faults);

    /** Begins a run in trace.jsonl: names the program and counts interactions from 1 again; the set must be on. */
    void BeginRun(const std::string& program);

    /** Makes this process, and what it starts, see the set: the environment (VBSET_TV, VBSET_BOX) and the
     * working directory, which is the TV's. The set must be on. */
    void Enter();

    const TvDescription& Tv() const { return tvDescription_; }
    const BoxDescription& Box() const { return boxDescription_; }
    const std::filesystem::path& TvDirectory() const { return tv_; }
    const std::filesystem::path& BoxDirectory() const { return box_; }

    // What the two sides hold now, for commands and tests; absent where it was never written.
    std::optional<std::vector<unsigned char>> Eeprom(unsigned int item) const;
    std::optional<Mac> MigratedMac() const;
    Mac MacBlock() const;  ///< all 0xFF when blank
    std::map<std::uint32_t, FactoryItem> FactoryItems() const;
    int BootPartition() const;

    void WriteEeprom(unsigned int item, const std::vector<unsigned char>& bytes);
    void WriteMacBlock(const std::vector<unsigned char>& bytes);  ///< any length: a short device is a fault too
    void WriteFactoryItem(std::uint32_t uid, const FactoryItem& item);

    bool IsOn() const;
    bool IsMounted(const std::string& partition) const;  ///< "migration" or "data_sync"; false when off
    std::filesystem::path Partition(const std::string& partition) const;  ///< its contents, mounted or not

    /** Where a path of the set lies in the directories: the one table that commands, scripts and service go by.
     * @return nothing for a path that is not one of the set's */
    std::optional<std::filesystem::path> Map(const std::string& path) const;

 private:
    std::filesystem::path tv_;
    std::filesystem::path box_;
    TvDescription tvDescription_;
    BoxDescription boxDescription_;
    int tvLock_ = -1;
    int boxLock_ = -1;
};

}  // namespace vbset
