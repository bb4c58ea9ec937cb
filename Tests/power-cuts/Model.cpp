#include "Model.h"

#include <algorithm>
#include <cstring>
#include <set>

namespace powercut {

namespace {

bool BeginsWith(const std::string& text, const std::string& start) { return text.compare(0, start.size(), start) == 0; }

std::uint32_t WordAt(const Bytes& bytes, std::size_t offset)
{
    std::uint32_t word = 0;
    for (std::size_t i = 4; i-- > 0;) word = word << 8 | static_cast<unsigned char>(bytes[offset + i]);
    return word;
}

/** What can be of a value that was on its way: a part of it, over the old one, or its length without its data. */
bool IsPartOf(const Bytes& found, const Bytes& old, const Bytes& whole)
{
    if (BeginsWith(whole, archiveMark)) return found == brokenArchive;
    if (found.size() > std::max(whole.size(), old.size())) return false;
    if (found.find_first_not_of('\0') == Bytes::npos) return true;
    std::size_t same = 0;
    while (same < found.size() && same < whole.size() && found[same] == whole[same]) ++same;
    return same == found.size() || found.substr(same) == old.substr(std::min(same, old.size()));
}

/** Everything that may be found under one name. */
struct Possible {
    std::set<std::optional<Bytes>> values;
    std::vector<std::pair<Bytes, Bytes>> parts;  ///< of the second, over the first
    std::optional<Bytes> newest;

    bool Has(const std::optional<Bytes>& found) const
    {
        return values.count(found) != 0 ||
               (found && std::any_of(parts.begin(), parts.end(),
                                     [&](const auto& part) { return IsPartOf(*found, part.first, part.second); }));
    }
};

class Possibilities {
 public:
    explicit Possibilities(const Holdings& before) : before_(before) {}

    Possible& At(const std::string& name)
    {
        const auto known = all_.find(name);
        if (known != all_.end()) return known->second;
        Possible& made = all_[name];
        const auto held = before_.find(name);
        if (held != before_.end()) made.newest = held->second;
        made.values.insert(made.newest);
        return made;
    }

    /** @param over  the event is over; else it is on its way */
    void Apply(const Event& event, bool over)
    {
        for (const Event::Change& change : event.changes) {
            Possible& possible = At(change.name);
            const bool isReplaced = event.isDurable && over;
            if (isReplaced) possible = Possible();
            // What is not synced may have its new length and not its data, or, in place, a part of them.
            const bool isPart = !isReplaced && change.value && (event.isInPlace || !event.isDurable);
            if (isPart) possible.parts.emplace_back(possible.newest.value_or(""), *change.value);
            possible.values.insert(change.value);
            possible.newest = change.value;
        }
        if (!over) {
            for (const Event::Change& change : event.between) At(change.name).values.insert(change.value);
        } else if (!event.synced.empty()) {
            Sync(event.synced);
        }
    }

    std::map<std::string, Possible>& All() { return all_; }

 private:
    void Sync(const std::string& what)
    {
        for (auto& [name, possible] : all_) {
            if (name != what && !(what.back() == '/' && BeginsWith(name, what))) continue;
            possible.values = {possible.newest};
            possible.parts.clear();
        }
    }

    const Holdings& before_;
    std::map<std::string, Possible> all_;
};

}  // namespace

Model::Model(const Facts& facts, const Holdings& before, Flow flow) : facts_(facts), before_(before), now_(before)
{
    events_.reserve(128);
    Play(flow);
}

bool Model::IsEvent(const char* call)
{
    for (const char* start : {"eeprom_write", "request ", "command ", "SetMigrationItemData ", "write ", "fsync "}) {
        if (std::strncmp(call, start, std::strlen(start)) == 0) return true;
    }
    return std::strstr(call, "O_TRUNC") != nullptr;
}

std::string Model::CheckCut(std::size_t done, bool inside, bool asWritten, const Holdings& after) const
{
    Possibilities possible(before_);
    for (std::size_t i = 0; i < std::min(done, events_.size()); ++i) possible.Apply(events_[i], true);
    const bool isOnItsWay = inside && done < events_.size();
    if (isOnItsWay) possible.Apply(events_[done], false);
    for (const auto& entry : before_) possible.At(entry.first);
    for (const auto& entry : after) possible.At(entry.first);
    std::string wrong;
    for (const auto& [name, expected] : possible.All()) {
        const auto held = after.find(name);
        const std::optional<Bytes> found = held == after.end() ? std::nullopt : std::optional(held->second);
        if (IsTemporary(name) || BeginsWith(name, "directory/")) continue;
        const bool isRight = asWritten && !isOnItsWay ? found == expected.newest : expected.Has(found);
        if (isRight) continue;
        wrong += "  " + name + " must not be " + (found ? std::to_string(found->size()) + " bytes" : "gone") + "\n";
    }
    return wrong;
}

void Model::SetFlag(bool raised)
{
    Event& event = Call(raised ? "eeprom_write 0xF211 1 AA" : "eeprom_write 0xF211 1 FF");
    Change(event, "eeprom/F211", raised ? "\xAA" : "\xFF");
    event.isDurable = true;
}

Event& Model::Request(const std::string& command) { return Call("request 0:" + command + ":EMPTY:EMPTY"); }

Event& Model::Call(const std::string& call)
{
    Event event;
    event.call = call;
    return events_.emplace_back(std::move(event));
}

void Model::Change(Event& event, const std::string& name, std::optional<Bytes> value)
{
    if (value) {
        now_[name] = *value;
    } else {
        now_.erase(name);
    }
    event.changes.push_back({name, std::move(value)});
}

void Model::RemoveBelow(Event& event, const std::string& directory)
{
    std::vector<std::string> names;
    for (const auto& entry : now_) {
        const std::string& name = entry.first;
        if (BeginsWith(name, directory + "/") || name == "directory/" + directory ||
            BeginsWith(name, "directory/" + directory + "/")) {
            names.push_back(name);
        }
    }
    for (const std::string& name : names) Change(event, name, std::nullopt);
}

bool ReadPicture(const Bytes& file, std::vector<PictureRecord>& records)
{
    constexpr std::size_t header = 12;
    std::size_t cursor = 0;
    while (cursor < file.size()) {
        if (file.size() - cursor < header) return false;
        const std::uint32_t size = WordAt(file, cursor + 8);
        if (size < 1 || size > 255 || file.size() - cursor - header < size) return false;
        records.push_back({WordAt(file, cursor), file.substr(cursor + 4, 4) + file.substr(cursor + header, size)});
        cursor += header + size;
    }
    return !file.empty();
}

}  // namespace powercut
