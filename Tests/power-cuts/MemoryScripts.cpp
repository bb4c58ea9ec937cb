/** @file
 * What the set's shell, its scripts and its migration service do, on the set in memory. Step by step as those of the
 * simulated set do, so that a cut inside one of them means the same there and here.
 */
#include <PathTable.h>
#include <Request.h>
#include <Text.h>

#include <sstream>

#include "Archive.h"
#include "Machine.h"

namespace powercut {

namespace {

using Words = std::vector<std::string>;

constexpr int done = 0;
constexpr int failed = 1;
constexpr int refused = 126;

const std::string tree = "SP_VB_Data";
const std::string archive = "korvane_vbmg.tar";

FileStore& Files() { return machine->set.kept.files; }

bool IsMigration(const std::string& partition) { return partition == "migration"; }

int Mount(const std::string& partition)
{
    if (!machine->set.Formatted(IsMigration(partition))) return failed;
    if (IsMigration(partition)) machine->set.lost.moduleLoaded = true;
    machine->set.Mounted(IsMigration(partition)) = true;
    return done;
}

int Unmount(const std::string& partition)
{
    bool& mounted = machine->set.Mounted(IsMigration(partition));
    if (!mounted) return failed;
    Files().SyncBelow(partition);
    mounted = false;
    return done;
}

int Format(const std::string& partition)
{
    bool& formatted = machine->set.Formatted(IsMigration(partition));
    Files().Remove(partition);
    Files().SyncBelow(partition);
    formatted = false;
    Step();
    Files().MakeDirectory(partition);
    Files().SyncBelow(partition);
    formatted = true;
    Step();
    return Mount(partition);
}

/** What lies at the mount point of the migration partition. */
std::string MountPoint() { return Locate("/opt/korvane_vbmg"); }

/** The base of backups and restores: both keys read the same here. */
std::string Base()
{
    return machine->facts.basesOnPartition ? MountPoint() : "root/opt/tv/migration/korvane_vbmg";
}

int CleanBackup()
{
    for (const std::string& place : {Base(), MountPoint()}) {
        Files().Remove(place + "/" + tree);
        Step();
        Files().Remove(place + "/" + archive);
        Step();
        Files().Remove(place + "/." + tree);
        Files().Remove(place + "/." + archive);
    }
    Files().Remove(tvArchive);
    return done;
}

std::string Hidden(const std::string& path)
{
    const std::size_t name = path.rfind('/') + 1;
    return path.substr(0, name) + "." + path.substr(name);
}

int Pack(const std::string& base, const std::string& into)
{
    const std::string above = into.substr(0, into.rfind('/'));
    if (!Files().IsDirectory(base + "/" + tree) || !Files().IsDirectory(above)) return failed;
    const Bytes whole = PackArchive(Files().Read(base + "/" + tree + "/" + pictureFile));
    Files().Write(Hidden(into), whole.substr(0, whole.size() / 2));
    Step();
    Files().Write(Hidden(into), whole);
    Step();
    Files().Move(Hidden(into), into);
    Step();
    return done;
}

int CopyTree(const std::string& from, const std::string& to)
{
    const std::string part = to + "/." + tree;
    const Bytes picture = Files().Read(from + "/" + tree + "/" + pictureFile);
    const bool hasPicture = Files().IsFile(from + "/" + tree + "/" + pictureFile);
    Files().Remove(part);
    Files().MakeDirectory(part);
    if (hasPicture) Files().Write(part + "/" + pictureFile, picture.substr(0, picture.size() / 2));
    Step();
    if (hasPicture) Files().Write(part + "/" + pictureFile, picture);
    Step();
    Files().Remove(to + "/" + tree);
    Step();
    Files().Move(part, to + "/" + tree);
    return done;
}

/** Puts what an archive holds in the place of a directory. */
int Unpack(const std::string& from, const std::string& directory, const std::string& entry)
{
    const std::string part = directory + "/.unpack";
    Files().MakeDirectory(directory);
    Files().Remove(part);
    const auto picture = UnpackArchive(Files().Read(from));
    if (!picture) return failed;
    Files().MakeDirectory(part + "/" + entry);
    Files().Write(part + "/" + entry + "/" + pictureFile, picture->substr(0, picture->size() / 2));
    Step();
    Files().Write(part + "/" + entry + "/" + pictureFile, *picture);
    Step();
    Files().Remove(directory + "/" + entry);
    Step();
    const std::string target = directory + "/" + entry;
    Files().MakeDirectory(target.substr(0, target.rfind('/')));
    Files().Move(part + "/" + entry, target);
    Step();
    Files().Remove(part);
    return done;
}

int TarAndCopy()
{
    if (!machine->set.lost.migrationMounted) return failed;
    if (Pack(Base(), "migration/" + archive) != done) return failed;
    return Base() == "migration" ? done : CopyTree(Base(), "migration");
}

int CopyAndUntar()
{
    if (!machine->set.lost.migrationMounted) return failed;
    if (Files().IsFile("migration/" + archive)) return Unpack("migration/" + archive, Base(), tree);
    if (!Files().IsFile("migration/legacy.tar")) return failed;
    if (Unpack("migration/legacy.tar", workDirectory, "TD/Migration") != done) return failed;
    Files().Remove(Base() + "/" + tree);
    return done;
}

int MigrationScript(const std::string& word)
{
    if (word == "InsmodMig") {
        machine->set.lost.moduleLoaded = true;
        return done;
    }
    if (word == "UnMoungNRmmod") {
        if (machine->set.lost.migrationMounted) Unmount("migration");
        machine->set.lost.moduleLoaded = false;
        return done;
    }
    if (word == "UnmountMig") return Unmount("migration");
    if (word == "cleanbkup") return CleanBackup();
    if (word == "tarncpy") return TarAndCopy();
    if (word == "cpynuntar") return CopyAndUntar();
    if (word == "Bkup13") return Pack(Base(), tvArchive);
    if (word == "Restor13") return Files().IsFile(tvArchive) ? Unpack(tvArchive, Base(), tree) : failed;
    return refused;
}

/** Copies an archive as the service does: another name first, and durable before it is answered. */
bool CopyArchive(const std::string& from, const std::string& to)
{
    if (!Files().IsFile(from)) return false;
    const Bytes whole = Files().Read(from);
    const std::string part = to + ".part";
    Files().Write(part, whole.substr(0, whole.size() / 2));
    Files().SyncFile(part);
    Step();
    Files().Write(part, whole);
    Files().SyncFile(part);
    Step();
    Files().Move(part, to);
    Files().SyncFile(part);
    Files().SyncFile(to);
    Step();
    return true;
}

std::string Reply(int code, long status, long value)
{
    return std::to_string(code) + ":" + std::to_string(status) + ":" + std::to_string(value);
}

/** Writes over the raw MAC block: the only file that the library has the service write. */
std::string WriteFile(const vbset::service::Request& request)
{
    const auto bytes = vbset::ParseHex(request.third);
    const std::string name = Locate(request.first.c_str());
    if (!bytes || name != "mac") return Reply(2, -1, 0);
    Bytes block = Files().Read(name);
    const Bytes written(bytes->begin(), bytes->end());
    Files().Write(name, block.replace(0, written.size() / 2, written, 0, written.size() / 2));
    Files().SyncFile(name);
    Step();
    Files().Write(name, block.replace(0, written.size(), written));
    Files().SyncFile(name);
    return Reply(2, static_cast<long>(written.size()), 0);
}

std::string ReadFile(const vbset::service::Request& request)
{
    const Bytes bytes = Files().Read(Locate(request.first.c_str()));
    return "1:" + std::to_string(bytes.size()) + ":" +
           vbset::Hex(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
}

std::string Transfer(int code, const char* from, const char* to)
{
    const bool copied = CopyArchive(from, to);
    return machine->facts.transfersCount ? "0:0:0" : Reply(code, copied ? 0 : -1, 0);
}

}  // namespace

int RunCommand(const std::string& line)
{
    std::istringstream text(line);
    Words words;
    for (std::string word; text >> word;) words.push_back(word);
    if (words.size() == 2 && words[0] == "/usr/bin/MigrationScript.sh") return MigrationScript(words[1]);
    if (words.size() >= 3 && words[0] == "/bin/spi_init.sh") {
        if (words[1] == "mount") return Mount(words[2]);
        if (words[1] == "format") return Format(words[2]);
        if (words[1] == "umount") return Unmount(words[2]);
    }
    if (words.size() == 3 && words[0] == "mkdir") {
        Files().MakeDirectory(Locate(words[2].c_str()));
        return done;
    }
    if (words.size() == 3 && words[0] == "rm") {
        Files().Remove(Locate(words[2].c_str()));
        return done;
    }
    return refused;
}

std::string AnswerRequest(const std::string& text)
{
    const auto request = vbset::service::ParseRequest(text);
    if (!request) return "-1:-1:0";
    switch (request->code) {
        case 0: return Reply(0, RunCommand(request->first), 0);
        case 1: return ReadFile(*request);
        case 2: return WriteFile(*request);
        case 3: return Reply(3, Files().Find(Locate(request->first.c_str())) != nullptr ? 0 : -1, 0);
        case 6: return Transfer(6, boxArchive, tvArchive);
        case 7: return Transfer(7, tvArchive, boxArchive);
        default: return Reply(request->code, -1, 0);
    }
}

}  // namespace powercut
