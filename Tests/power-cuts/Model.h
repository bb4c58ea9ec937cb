/** @file
 * What the documented behaviour says of a flow: what it asks of the set, in order, and what the set then holds; so also
 * what it must hold after a power cut at any place, and what the next start makes of that.
 *
 * It knows nothing of how the library or the set in memory do their work.
 */
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Holdings.h"
#include "Machine.h"

namespace powercut {

/** A request that changes the set, or could. */
struct Event {
    struct Change {
        std::string name;
        std::optional<Bytes> value;  ///< none: it is removed
    };
    std::string call;              ///< what asks for it, as in Point::call
    std::vector<Change> changes;
    std::vector<Change> between;   ///< what can be there besides, while it is carried out
    bool isDurable = false;        ///< the changes survive at once
    bool isInPlace = false;        ///< a part of the new value can be there
    std::string synced;            ///< what survives from now on: a file, or with "/" at its end all below
};

/** The set as the model sees it while it plays a flow. */
class Model {
 public:
    Model(const Facts& facts, const Holdings& before, Flow flow);

    const std::vector<Event>& Events() const { return events_; }
    const Results& ExpectedResults() const { return results_; }
    const Holdings& Final() const { return now_; }

    /** Looks at what a cut left.
     * @param done       number of events that were over
     * @param inside     the next one was being carried out
     * @param asWritten  what was not synced is there as it was written
     * @return what must not be, empty when all is well */
    std::string CheckCut(std::size_t done, bool inside, bool asWritten, const Holdings& after) const;

    /** True for a call that Events() must name. */
    static bool IsEvent(const char* call);

 private:
    void Play(Flow flow);

    // Notifications of all TV codes but 13, and of that.
    int Start(bool backup);
    int End(bool backup);
    bool StartBackup(bool wasCut);
    bool StartRestore(bool wasCut);
    bool EndBackup();
    void LoadAndMount(bool wasCut);
    void CleanUp();
    int Start13(bool backup);
    int End13(bool backup);

    int Dump();
    bool DumpMac();
    void DumpPicture();
    int Restore();
    bool RestoreMac();
    bool RestoreItems();

    void MountMigration();
    void MountDataSync();
    void CleanBackup();
    bool UnpackTo(const std::string& archive, const std::string& target, Event& event);
    void ReplaceTree(Event& event, const std::string& folder, const Bytes& picture);

    void WriteInPlace(const std::string& path, const std::string& name, const Bytes& bytes);
    bool StoreItems(const Bytes& file);
    int SyncToFile();
    int SyncToBox();
    void Load();

    void SetFlag(bool raised);
    Event& Request(const std::string& command);
    Event& Call(const std::string& call);
    void Change(Event& event, const std::string& name, std::optional<Bytes> value);
    void RemoveBelow(Event& event, const std::string& directory);
    void FormatMigration(const std::string& command);
    void UnmountByScript(const std::string& command);

    bool Holds(const std::string& name) const { return now_.count(name) != 0; }
    Bytes Value(const std::string& name) const { return Holds(name) ? now_.at(name) : Bytes(); }
    std::string MountPoint() const { return migrationMounted_ ? "migration" : "root/opt/korvane_vbmg"; }
    std::string Base() const;
    std::string BasePath() const;
    Bytes PictureOfBox() const;

    Facts facts_;
    Holdings before_;
    Holdings now_;
    std::vector<Event> events_;
    Results results_;
    bool migrationMounted_ = false;
    bool dataSyncMounted_ = false;
    bool believedMounted_ = false;  ///< what the library takes the migration partition for
};

/** The data of a picture file's records, as far as they are whole and good. */
struct PictureRecord {
    std::uint32_t uid = 0;
    Bytes value;  ///< as item/UID
};
bool ReadPicture(const Bytes& file, std::vector<PictureRecord>& records);

}  // namespace powercut
