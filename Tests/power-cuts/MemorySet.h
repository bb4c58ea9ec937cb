/** @file
 * A set in memory: what a power cut leaves and what it takes. All of it is of a fixed size and plain, so that it lies in
 * memory that processes share and is copied as a whole.
 */
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace powercut {

using Bytes = std::string;

/** What is under a name at one moment: nothing, a directory or a file. */
struct Content {
    bool exists = false;
    bool isDirectory = false;
    std::uint16_t size = 0;
    char bytes[1000] = {};

    bool IsFile() const { return exists && !isDirectory; }
    bool IsSame(const Content& other) const
    {
        return exists == other.exists && isDirectory == other.isDirectory && size == other.size &&
               std::memcmp(bytes, other.bytes, size) == 0;
    }
};

/** The files of the set: as programs see them, and as a power cut leaves them.
 *
 * Names are "AREA/PATH". Areas: "migration" and "data_sync" (the partitions), "root" (the TV's own file system), "work"
 * (working directory of programs); and the files "mac" (the raw MAC block) and "box/archive.tar.gz".
 */
class FileStore {
 public:
    /** @return null when there is nothing of that name */
    const Content* Find(std::string_view name) const;
    bool IsDirectory(std::string_view name) const;
    bool IsFile(std::string_view name) const;

    /** The file of that name, made when there is none. */
    Content& File(std::string_view name);
    void Write(std::string_view name, const Bytes& bytes);
    Bytes Read(std::string_view name) const;

    /** Makes a directory and those above it. */
    void MakeDirectory(std::string_view name);

    /** Removes what has the name and what lies below it. */
    void Remove(std::string_view name);

    /** Renames a file or a directory with what lies below it; what had the new name is gone. */
    void Move(std::string_view from, std::string_view to);

    /** A file, and the way to it, survives from now on. */
    void SyncFile(std::string_view name);

    /** The same for what has the name and all that lies below it. */
    void SyncBelow(std::string_view name);
    void SyncAll() { SyncBelow(""); }

    /** The files that are not synced, by name. */
    std::vector<const char*> Unsynced() const;
    int CountUnsynced() const;

    /** What a cut leaves becomes what there is. @param letters  as vbset::PowerCut::unsynced */
    void LosePower(std::string_view letters);

    /** The files, by name, as programs see them. */
    std::vector<std::pair<std::string, Bytes>> Files() const;

    std::uint64_t Hash() const;
    std::uint64_t HashOfDurable() const;

 private:
    struct Entry {
        char name[96] = "";
        std::uint16_t length = 0;
        Content seen;
        Content durable;

        std::string_view Name() const { return {name, length}; }
        bool IsUnsynced() const;
    };
    static constexpr int capacity = 48;

    std::uint64_t HashOf(Content Entry::*which) const;
    Entry* Search(std::string_view name);
    Entry& Make(std::string_view name);
    std::vector<Entry*> UnsyncedEntries();

    Entry entries_[capacity];
    int count_ = 0;
};

struct Item {
    std::uint32_t uid = 0;
    std::uint32_t storeType = 0;
    std::uint32_t size = 0;
    char data[4] = {};
};

/** What survives a power cut. */
struct Nonvolatile {
    FileStore files;
    bool migrationFormatted = true;
    bool dataSyncFormatted = true;
    unsigned char powerFlag = 0xFF;
    char mac[6] = {};
    bool hasMigratedMac = false;
    char migratedMac[6] = {};
    Item items[62];
};

/** What does not. */
struct Volatile {
    bool migrationMounted = false;
    bool dataSyncMounted = false;
    bool moduleLoaded = false;
    int gpio[256] = {};
    int bufferIc = 1;
    int tunerMute = 0;
};

struct MemorySet {
    Nonvolatile kept;
    Volatile lost;

    bool& Formatted(bool migration) { return migration ? kept.migrationFormatted : kept.dataSyncFormatted; }
    bool& Mounted(bool migration) { return migration ? lost.migrationMounted : lost.dataSyncMounted; }

    /** The power goes away and comes back. */
    void LosePower(std::string_view letters)
    {
        kept.files.LosePower(letters);
        lost = Volatile();
    }

    /** The same when the set is switched off in order. */
    void SwitchOff()
    {
        kept.files.SyncAll();
        lost = Volatile();
    }

    std::uint64_t Hash() const;

    /** The same, and what is not synced is told from what is. */
    std::uint64_t HashOfAll() const { return Hash() + kept.files.HashOfDurable(); }
};

/** Mixes bytes into a hash. */
std::uint64_t HashBytes(const void* bytes, std::size_t count, std::uint64_t hash);

}  // namespace powercut
