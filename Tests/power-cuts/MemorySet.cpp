#include "MemorySet.h"

#include <PowerCut.h>

#include <algorithm>
#include <stdexcept>

namespace powercut {

namespace {

bool LiesBelow(std::string_view name, std::string_view directory)
{
    return directory.empty() || (name.size() > directory.size() && name[directory.size()] == '/' &&
                                 name.substr(0, directory.size()) == directory);
}

std::string_view Above(std::string_view name)
{
    return name.substr(0, std::min(name.rfind('/'), name.size()));
}

}  // namespace

std::uint64_t HashBytes(const void* bytes, std::size_t count, std::uint64_t hash)
{
    const auto* byte = static_cast<const unsigned char*>(bytes);
    for (std::size_t i = 0; i < count; ++i) hash = (hash ^ byte[i]) * 1099511628211U;
    return hash;
}

/** Directories come and go with what lies in them, so only files are looked at. */
bool FileStore::Entry::IsUnsynced() const
{
    return (seen.IsFile() || durable.IsFile()) && !seen.IsSame(durable);
}

FileStore::Entry* FileStore::Search(std::string_view name)
{
    for (Entry* entry = entries_; entry != entries_ + count_; ++entry) {
        if (entry->Name() == name) return entry;
    }
    return nullptr;
}

const Content* FileStore::Find(std::string_view name) const
{
    for (const Entry* entry = entries_; entry != entries_ + count_; ++entry) {
        if (entry->Name() == name) return entry->seen.exists ? &entry->seen : nullptr;
    }
    return nullptr;
}

bool FileStore::IsDirectory(std::string_view name) const
{
    const Content* const found = Find(name);
    return found != nullptr && found->isDirectory;
}

bool FileStore::IsFile(std::string_view name) const
{
    const Content* const found = Find(name);
    return found != nullptr && found->IsFile();
}

FileStore::Entry& FileStore::Make(std::string_view name)
{
    if (Entry* const entry = Search(name)) return *entry;
    if (count_ == capacity || name.size() >= sizeof(Entry::name)) throw std::length_error("the set in memory is full");
    Entry& entry = entries_[count_++];
    name.copy(entry.name, name.size());
    entry.length = static_cast<std::uint16_t>(name.size());
    return entry;
}

Content& FileStore::File(std::string_view name)
{
    Content& content = Make(name).seen;
    if (!content.IsFile()) content = Content();
    content.exists = true;
    return content;
}

void FileStore::Write(std::string_view name, const Bytes& bytes)
{
    Content& content = File(name);
    if (bytes.size() > sizeof content.bytes) throw std::length_error("a file of the set in memory is too long");
    content.size = static_cast<std::uint16_t>(bytes.size());
    bytes.copy(content.bytes, bytes.size());
}

Bytes FileStore::Read(std::string_view name) const
{
    const Content* const found = Find(name);
    return found == nullptr ? Bytes() : Bytes(found->bytes, found->size);
}

void FileStore::MakeDirectory(std::string_view name)
{
    for (; !name.empty(); name = name == Above(name) ? std::string_view() : Above(name)) {
        Content& content = Make(name).seen;
        if (!content.exists) content = Content();
        content.exists = true;
        content.isDirectory = true;
    }
}

void FileStore::Remove(std::string_view name)
{
    for (Entry* entry = entries_; entry != entries_ + count_; ++entry) {
        if (entry->Name() == name || LiesBelow(entry->Name(), name)) entry->seen = Content();
    }
}

void FileStore::Move(std::string_view from, std::string_view to)
{
    Remove(to);
    const int count = count_;
    for (int i = 0; i < count; ++i) {
        if (entries_[i].Name() != from && !LiesBelow(entries_[i].Name(), from)) continue;
        Entry& target = Make(std::string(to) + std::string(entries_[i].Name().substr(from.size())));
        target.seen = entries_[i].seen;
        entries_[i].seen = Content();
    }
}

void FileStore::SyncFile(std::string_view name)
{
    for (std::string_view at = name;; at = Above(at)) {
        if (Entry* const entry = Search(at)) entry->durable = entry->seen;
        if (at == Above(at)) return;
    }
}

void FileStore::SyncBelow(std::string_view name)
{
    for (Entry* entry = entries_; entry != entries_ + count_; ++entry) {
        if (entry->Name() == name || LiesBelow(entry->Name(), name)) entry->durable = entry->seen;
    }
}

int FileStore::CountUnsynced() const
{
    return static_cast<int>(std::count_if(entries_, entries_ + count_, [](const Entry& e) { return e.IsUnsynced(); }));
}

std::vector<FileStore::Entry*> FileStore::UnsyncedEntries()
{
    std::vector<Entry*> found;
    for (Entry* entry = entries_; entry != entries_ + count_; ++entry) {
        if (entry->IsUnsynced()) found.push_back(entry);
    }
    std::sort(found.begin(), found.end(), [](const Entry* a, const Entry* b) { return a->Name() < b->Name(); });
    return found;
}

std::vector<const char*> FileStore::Unsynced() const
{
    std::vector<const char*> names;
    for (const Entry* entry : const_cast<FileStore*>(this)->UnsyncedEntries()) names.push_back(entry->name);
    return names;
}

void FileStore::LosePower(std::string_view letters)
{
    std::size_t position = 0;
    for (Entry* const entry : UnsyncedEntries()) {
        const char letter = vbset::Outcome(letters, position++);
        const bool hasData = entry->seen.IsFile() && entry->Name() != "mac";
        if (letter == 'o' || (letter == 'z' && entry->Name() == "mac")) {
            const std::string_view above = Above(entry->Name());
            if (entry->durable.exists && above != entry->Name()) MakeDirectory(above);
            entry->seen = entry->durable;
        } else if (letter == 'z' && hasData) {
            std::memset(entry->seen.bytes, 0, entry->seen.size);
        }
    }
    SyncAll();
}

std::vector<std::pair<std::string, Bytes>> FileStore::Files() const
{
    std::vector<std::pair<std::string, Bytes>> files;
    for (const Entry* entry = entries_; entry != entries_ + count_; ++entry) {
        if (entry->seen.IsFile()) files.emplace_back(entry->Name(), Bytes(entry->seen.bytes, entry->seen.size));
    }
    return files;
}

/** The same whatever order the files were made in. */
std::uint64_t FileStore::HashOf(Content Entry::*which) const
{
    std::uint64_t sum = 0;
    for (const Entry* entry = entries_; entry != entries_ + count_; ++entry) {
        const Content& content = entry->*which;
        if (!content.exists) continue;
        const std::uint64_t named = HashBytes(entry->name, entry->length, 14695981039346656037U);
        sum += HashBytes(content.bytes, content.size, named + content.isDirectory);
    }
    return sum;
}

std::uint64_t FileStore::Hash() const { return HashOf(&Entry::seen); }

std::uint64_t FileStore::HashOfDurable() const { return 31 * HashOf(&Entry::durable); }

std::uint64_t MemorySet::Hash() const
{
    std::uint64_t hash = kept.files.Hash();
    hash = HashBytes(&kept.migrationFormatted, sizeof kept.migrationFormatted, hash);
    hash = HashBytes(&kept.dataSyncFormatted, sizeof kept.dataSyncFormatted, hash);
    hash = HashBytes(&kept.powerFlag, sizeof kept.powerFlag, hash);
    hash = HashBytes(&kept.hasMigratedMac, sizeof kept.hasMigratedMac, hash);
    hash = HashBytes(kept.migratedMac, sizeof kept.migratedMac, hash);
    for (const Item& item : kept.items) hash = HashBytes(&item, sizeof item, hash);
    return hash;
}

}  // namespace powercut
