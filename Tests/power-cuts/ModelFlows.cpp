/** @file
 * The model's flows, told as the documentation tells them.
 */
#include <LegacyBackup.h>
#include <Set.h>
#include <Text.h>

#include "Archive.h"
#include "Model.h"
#include "Scenario.h"

namespace powercut {

namespace {

const Bytes blankMac(6, '\xFF');
const Bytes tvMac("\x02\x00\x5E\x10\x00\x15", 6);
const Bytes micomMac("\x02\x00\x5E\x11\x00\x13", 6);

constexpr const char* serviceScript = "/usr/bin/MigrationScript.sh ";
constexpr const char* legacyCopy = "work/TD/Migration/PictureMigrationData.dat";

std::string Hex(const Bytes& bytes)
{
    return vbset::Hex(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

/** What an archive holds; nothing when there is none or it is not whole. */
std::optional<Bytes> Packed(const Bytes& archive)
{
    const std::string mark = archiveMark;
    if (archive.compare(0, mark.size(), mark) != 0) return std::nullopt;
    return archive.substr(mark.size());
}

int ResultOf(bool success) { return success ? 0 : -1; }

}  // namespace

void Model::Play(Flow flow)
{
    switch (flow) {
        case Flow::Backup:
        case Flow::Restore: {
            const bool backup = flow == Flow::Backup;
            const bool is13 = facts_.tvCode == 13;
            const int start = is13 ? Start13(backup) : Start(backup);
            results_.Add(start);
            if (start == 0) results_.Add(backup ? Dump() : Restore());
            results_.Add(is13 ? End13(backup) : End(backup));
            return;
        }
        case Flow::RestoreAlone: return results_.Add(Restore());
        case Flow::MountedSyncToFile: Load(); [[fallthrough]];
        case Flow::SyncToFile: return results_.Add(SyncToFile());
        case Flow::MountedSyncToBox: Load(); [[fallthrough]];
        case Flow::SyncToBox: return results_.Add(SyncToBox());
        case Flow::Store: MountDataSync(); return results_.Add(SyncToFile());
        case Flow::Load: return Load();
    }
}

// TV codes 14, 15 and 17: the power flag, the partition, the scripts.

int Model::Start(bool backup)
{
    const bool wasCut = Value("eeprom/F211") == "\xAA";
    SetFlag(true);
    if (wasCut) FormatMigration("/bin/spi_init.sh format migration");
    if (facts_.newBoard) UnmountByScript("UnMoungNRmmod");
    const bool started = backup ? StartBackup(wasCut) : StartRestore(wasCut);
    if (!started) CleanUp();
    return ResultOf(started);
}

bool Model::StartBackup(bool wasCut)
{
    LoadAndMount(wasCut);
    CleanBackup();
    return true;
}

bool Model::StartRestore(bool wasCut)
{
    if (wasCut) {
        SetFlag(false);
        UnmountByScript("UnmountMig");
        return false;
    }
    LoadAndMount(false);
    const std::string legacy = "migration/legacy.tar";
    Event& event = Request(std::string(serviceScript) + "cpynuntar");
    if (!migrationMounted_) return false;
    if (Holds("migration/korvane_vbmg.tar")) {
        return UnpackTo("migration/korvane_vbmg.tar", Base() + "/SP_VB_Data", event);
    }
    if (!Holds(legacy) || !UnpackTo(legacy, legacyCopy, event)) return false;
    RemoveBelow(event, Base() + "/SP_VB_Data");
    return true;
}

int Model::End(bool backup)
{
    const bool ended = !backup || EndBackup();
    CleanUp();
    if (!ended) CleanUp();
    return ResultOf(ended);
}

bool Model::EndBackup()
{
    const std::string folder = Base() + "/SP_VB_Data";
    Event& event = Request(std::string(serviceScript) + "tarncpy");
    if (!migrationMounted_ || !Holds("directory/" + folder)) return false;
    const Bytes picture = Value(folder + "/" + pictureFile);
    Change(event, "migration/korvane_vbmg.tar", archiveMark + picture);
    ReplaceTree(event, "migration/SP_VB_Data", picture);
    return true;
}

/** What a recovery has just formatted is taken for mounted, once. */
void Model::LoadAndMount(bool wasCut)
{
    if (!wasCut) {
        Request(std::string(serviceScript) + "InsmodMig");
        MountMigration();
    }
    believedMounted_ = true;
}

void Model::MountMigration()
{
    if (believedMounted_) return;
    Request("/bin/spi_init.sh mount migration");
    if (Holds("unformatted/migration")) FormatMigration("/bin/spi_init.sh format migration mkfs.vfat /dev/mtdblock1");
    migrationMounted_ = true;
    believedMounted_ = true;
}

void Model::CleanUp()
{
    if (believedMounted_) {
        Event& event = Request("/bin/spi_init.sh umount migration");
        if (migrationMounted_) {
            event.synced = "migration/";
            migrationMounted_ = false;
            believedMounted_ = false;
        }
    }
    if (facts_.newBoard && facts_.ciSlots > 0) UnmountByScript("UnMoungNRmmod");
    SetFlag(false);
}

void Model::FormatMigration(const std::string& command)
{
    Event& event = Request(command);
    RemoveBelow(event, "migration");
    Change(event, "unformatted/migration", std::nullopt);
    event.between.push_back({"unformatted/migration", ""});
    event.isDurable = true;
    migrationMounted_ = true;
}

void Model::UnmountByScript(const std::string& word)
{
    Event& event = Request(serviceScript + word);
    if (migrationMounted_) event.synced = "migration/";
    migrationMounted_ = false;
}

void Model::CleanBackup()
{
    Event& event = Request(std::string(serviceScript) + "cleanbkup");
    for (const std::string& place : {Base(), MountPoint()}) {
        RemoveBelow(event, place + "/SP_VB_Data");
        Change(event, place + "/korvane_vbmg.tar", std::nullopt);
    }
    Change(event, tvArchive, std::nullopt);
}

bool Model::UnpackTo(const std::string& archive, const std::string& target, Event& event)
{
    const auto packed = Packed(Value(archive));
    if (!packed) return false;
    if (target == legacyCopy) {
        Change(event, target, packed);
        event.between.push_back({target, std::nullopt});
    } else {
        ReplaceTree(event, target, *packed);
    }
    return true;
}

/** The scripts take a tree away before they put another in its place. */
void Model::ReplaceTree(Event& event, const std::string& folder, const Bytes& picture)
{
    const std::string file = folder + "/" + pictureFile;
    Change(event, file, picture);
    Change(event, "directory/" + folder, "");
    event.between.push_back({file, std::nullopt});
}

// TV code 13: one archive, which the service moves.

int Model::Start13(bool backup)
{
    CleanBackup();
    if (backup) return 0;
    const bool hasArchive = Holds(boxArchive);
    Event& fetch = Call("request 6:EMPTY:EMPTY:EMPTY");
    if (hasArchive) {
        Change(fetch, tvArchive, Value(boxArchive));
        fetch.isDurable = true;
    }
    if (facts_.transfersCount) {
        Event& event = Request(std::string(serviceScript) + "Restor13 ");
        if (hasArchive) UnpackTo(tvArchive, Base() + "/SP_VB_Data", event);
    }
    return 0;
}

int Model::End13(bool backup)
{
    if (!backup) return 0;
    Event& pack = Request(std::string(serviceScript) + "Bkup13 ");
    Change(pack, tvArchive, archiveMark + Value(Base() + "/SP_VB_Data/" + pictureFile));
    Event& send = Call("request 7:EMPTY:EMPTY:EMPTY");
    Change(send, boxArchive, Value(tvArchive));
    send.isDurable = true;
    if (!facts_.transfersCount) return -1;
    Change(Request("rm -rf /opt/korvane_vbmg_Tavix.tar.gz"), tvArchive, std::nullopt);
    return 0;
}

// Dump and restore.

int Model::Dump()
{
    const bool macDumped = (facts_.tvCode == 15 || facts_.tvCode == 17) && DumpMac();
    DumpPicture();
    return ResultOf(macDumped);
}

/** Only a write by the service counts. */
bool Model::DumpMac()
{
    if (facts_.macBlockIsPrivate) Call("request 1:/dev/mtdblock3:6:EMPTY");
    if (Value("mac") != blankMac) return false;
    Call("fopen /dev/mtdblock3 O_WRONLY|O_CREAT|O_TRUNC");
    Event& event = Call(facts_.macBlockIsPrivate ? "request 2:/dev/mtdblock3:6:" + Hex(tvMac) : "write /dev/mtdblock3 6");
    Change(event, "mac", tvMac);
    event.isInPlace = true;
    event.isDurable = facts_.macBlockIsPrivate;
    return facts_.macBlockIsPrivate;
}

void Model::DumpPicture()
{
    const std::string folder = Base() + "/SP_VB_Data";
    if (!Holds("directory/" + folder)) {
        Change(Call("command mkdir -p " + BasePath() + "SP_VB_Data/"), "directory/" + folder, "");
    }
    WriteInPlace(BasePath() + "SP_VB_Data/" + pictureFile, folder + "/" + pictureFile, PictureOfBox());
}

int Model::Restore()
{
    if (facts_.tvCode != 13) MountMigration();
    if (facts_.tvCode == 15 || facts_.tvCode == 17) return -1;
    return ResultOf(RestoreMac() && RestoreItems());
}

bool Model::RestoreMac()
{
    const bool fromBlock = facts_.tvCode == 14 || facts_.hasLegacyFolder;
    if (fromBlock && facts_.macBlockIsPrivate) Call("request 1:/dev/mtdblock3:6:EMPTY");
    const Bytes mac = fromBlock ? Value("mac") : micomMac;
    Event& event = Call("eeprom_write_migrated_mac " + Hex(mac) + " 6");
    Change(event, "eeprom/migrated_mac", mac);
    event.isDurable = true;
    return true;
}

bool Model::RestoreItems()
{
    const std::string folder = Base() + "/SP_VB_Data";
    if (Holds("directory/" + folder)) return StoreItems(Value(folder + "/" + pictureFile));
    // The previous platform's backup; what it deciphers to is known from how it was made.
    const auto whole = vbset::EncipherLegacy(vbset::LegacyRecords(facts_.items, earlierSeed));
    if (Value(legacyCopy) != Bytes(whole.begin(), whole.end())) return false;
    Bytes picture;
    const auto items = vbset::LegacyItems(facts_.items, earlierSeed);
    for (const std::uint32_t id : vbset::ItemIds(facts_.items)) {
        Bytes value;
        for (unsigned int shift = 0; shift < 32; shift += 8) value += static_cast<char>(items.at(id).storeType >> shift);
        value.append(items.at(id).data.begin(), items.at(id).data.end());
        Event& event = Call("SetMigrationItemData " + std::to_string(id));
        Change(event, "item/" + std::to_string(id), value);
        event.isDurable = true;
    }
    return true;
}

bool Model::StoreItems(const Bytes& file)
{
    std::vector<PictureRecord> records;
    const bool whole = ReadPicture(file, records);
    for (const PictureRecord& record : records) {
        Event& event = Call("SetMigrationItemData " + std::to_string(record.uid));
        Change(event, "item/" + std::to_string(record.uid), record.value);
        event.isDurable = true;
    }
    return whole;
}

// The service file.

void Model::MountDataSync()
{
    Call("command /bin/spi_init.sh mount  data_sync");
    if (Holds("unformatted/data_sync")) {
        Event& event = Call("command /bin/spi_init.sh format  data_sync");
        Change(event, "unformatted/data_sync", std::nullopt);
        event.isDurable = true;
    }
    dataSyncMounted_ = true;
}

int Model::SyncToFile()
{
    const std::string folder = dataSyncMounted_ ? "data_sync" : "root/opt/tv/migration/service";
    WriteInPlace("/opt/tv/migration/service/PictureData.dat", folder + "/PictureData.dat", PictureOfBox());
    return 0;
}

int Model::SyncToBox()
{
    const std::string folder = dataSyncMounted_ ? "data_sync" : "root/opt/tv/migration/service";
    return ResultOf(StoreItems(Value(folder + "/PictureData.dat")));
}

void Model::Load()
{
    MountDataSync();
    std::vector<PictureRecord> records;
    const bool whole = ReadPicture(Value("data_sync/PictureData.dat"), records);
    int value = 0;
    for (std::size_t i = 4; !records.empty() && i < records[0].value.size(); ++i) {
        value |= static_cast<unsigned char>(records[0].value[i]) << (8 * (i - 4));
    }
    results_.Add(ResultOf(whole));
    results_.Add(0);
    results_.Add(value);
}

void Model::WriteInPlace(const std::string& path, const std::string& name, const Bytes& bytes)
{
    Change(Call("open " + path + " O_WRONLY|O_CREAT|O_TRUNC"), name, "");
    Event& event = Call("write " + path + " " + std::to_string(bytes.size()));
    Change(event, name, bytes);
    event.isInPlace = true;
    Call("fsync " + path).synced = name;
}

std::string Model::BasePath() const
{
    return facts_.basesOnPartition ? "/opt/korvane_vbmg/" : "/opt/tv/migration/korvane_vbmg/";
}

std::string Model::Base() const
{
    return facts_.basesOnPartition ? MountPoint() : "root/opt/tv/migration/korvane_vbmg";
}

/** The picture file of what the box holds now: the records of the items in table order. */
Bytes Model::PictureOfBox() const
{
    const auto word = [](std::size_t value) {
        Bytes bytes;
        for (unsigned int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(value >> shift);
        return bytes;
    };
    Bytes file;
    for (const std::uint32_t id : vbset::ItemIds(facts_.items)) {
        const Bytes value = Value("item/" + std::to_string(id));
        file += word(id) + value.substr(0, 4) + word(value.size() - 4) + value.substr(4);
    }
    return file;
}

}  // namespace powercut
