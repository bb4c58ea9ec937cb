#include "Set.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "FactoryStore.h"
#include "Faults.h"
#include "Here.h"
#include "HostFile.h"
#include "Layout.h"
#include "PathTable.h"

namespace vbset {

namespace {

namespace fs = std::filesystem;

fs::path OpenSide(const fs::path& directory, const char* side, const char* description)
{
    std::error_code error;
    const fs::path found = fs::canonical(directory, error);
    if (error || !fs::is_directory(found, error)) {
        throw Error(std::string("there is no ") + side + " directory " + directory.string());
    }
    if (!fs::exists(found / description, error)) {
        throw Error(directory.string() + " is no " + side + ": it has no " + description);
    }
    if (IsPathOfASet(found)) throw Error(found.string() + " is a path of the set itself: put the set elsewhere");
    if (found.string().find('\n') != std::string::npos) {
        throw Error(std::string("the name of the ") + side + " directory has a line end in it");
    }
    return found;
}

int LockSide(const fs::path& directory)
{
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0) throw Error("cannot open " + directory.string() + ": " + std::strerror(errno));
    if (flock(descriptor, LOCK_EX | LOCK_NB) == 0) return descriptor;
    const int error = errno;
    close(descriptor);
    if (error == EWOULDBLOCK) throw Error(directory.string() + " is in use by another run");
    throw Error("cannot lock " + directory.string() + ": " + std::strerror(error));
}

void Need(int error, const fs::path& file)
{
    if (error != 0) throw Error("cannot write " + file.string() + ": " + std::strerror(error));
}

FaultMap Joined(const FaultMap& first, const FaultMap& second)
{
    FaultMap both = second;
    both.insert(first.begin(), first.end());
    return both;
}

void MakeVolatile(const fs::path& tv, const fs::path& box, const TvDescription& description)
{
    for (const fs::path& side : {tv, box}) {
        fs::remove_all(layout::Volatile(side));
        fs::create_directory(layout::Volatile(side));
    }
    for (const fs::path& made : {layout::Mounts(tv), layout::Devices(tv), layout::Gpio(tv)}) fs::create_directory(made);
    fs::create_symlink(layout::BareMigration(tv), layout::Mounts(tv) / "migration");
    fs::create_symlink(layout::BareDataSync(tv), layout::Mounts(tv) / "data_sync");

    const auto put = [](const fs::path& file, const std::string& text) { Need(WriteHostText(file, text), file); };
    if (description.hasSystemDevice) put(layout::Devices(tv) / "system", "");
    if (description.hasFrontend) put(layout::Devices(tv) / "frontend0", "");
    for (const auto& [number, level] : description.gpio) {
        put(layout::Gpio(tv) / std::to_string(number), std::to_string(level));
    }
    put(layout::Volatile(tv) / "buffer_ic", "1");
    put(layout::Volatile(tv) / "tuner_mute", "0");
    if (description.backupPath) put(layout::Volatile(tv) / "backup_path", *description.backupPath);
    if (description.restorePath) put(layout::Volatile(tv) / "restore_path", *description.restorePath);
    put(layout::Paths(tv), PathTable::Of(tv, box).Text());
    put(layout::Counter(tv), std::string(sizeof(Counter), '\0'));
}

}  // namespace

Set::Set(const fs::path& tv, const fs::path& box)
    : tv_(OpenSide(tv, "TV", "tv.toml")), box_(OpenSide(box, "box", "box.toml")),
      tvDescription_(ReadTvDescription(tv_ / "tv.toml")), boxDescription_(ReadBoxDescription(box_ / "box.toml"))
{
}

Set::~Set()
{
    if (tvLock_ >= 0) close(tvLock_);
    if (boxLock_ >= 0) close(boxLock_);
}

void Set::Lock()
{
    if (tvLock_ < 0) tvLock_ = LockSide(tv_);
    try {
        if (boxLock_ < 0) boxLock_ = LockSide(box_);
    } catch (const Error&) {
        close(tvLock_);
        tvLock_ = -1;
        throw;
    }
}

bool Set::IsOn() const
{
    return vbset::IsOn(tv_, box_);
}

void Set::PowerOn()
{
    if (IsOn()) return;
    try {
        MakeVolatile(tv_, box_, tvDescription_);
    } catch (const fs::filesystem_error& error) {
        throw Error("cannot switch the set on: " + std::string(error.what()));
    }
    Need(WriteHostText(layout::Faults(tv_), FaultsText(Joined(tvDescription_.faults, boxDescription_.faults))), tv_);
    Need(WriteHostText(layout::Joined(box_), tv_.string()), box_);
    Need(WriteHostText(layout::Joined(tv_), box_.string()), tv_);  // last: from here on the set is on
    if (IsInEnvironment(tv_, box_)) Attach(tv_, box_);
}

void Set::PowerOff()
{
    if (IsInEnvironment(tv_, box_)) Detach();
    std::error_code error;
    std::vector<fs::path> sides = {tv_};
    // A box that has been switched on with another TV since is that TV's to switch off.
    if (ReadHostText(layout::Joined(box_)).value_or(tv_) == tv_.string()) sides.push_back(box_);
    fs::remove(layout::Joined(tv_), error);  // first: from here on the set is off
    for (const fs::path& side : sides) {
        fs::remove_all(layout::Volatile(side), error);
        if (error) throw Error("cannot remove " + layout::Volatile(side).string() + ": " + error.message());
    }
}

void Set::SetFaults(const std::map<std::string, std::string>& faults)
{
    if (!IsOn()) throw Error("the set is off");
    for (const auto& [key, value] : faults) CheckFault(key, value);
    const FaultMap own = Joined(tvDescription_.faults, boxDescription_.faults);
    Need(WriteHostText(layout::Faults(tv_), FaultsText(Joined(own, faults))), layout::Faults(tv_));
    if (IsInEnvironment(tv_, box_)) LoadFaults(tv_);
}

void Set::BeginRun(const std::string& program)
{
    if (!IsOn()) throw Error("the set is off");
    const Here here(tv_, box_);
    here.counter->last = 0;
    here.counter->began = MonotonicMicroseconds();
    Need(AppendHostText(here.traceFile, "{\"run\":" + JsonText(program) + "}\n"), here.traceFile);
}

void Set::Enter()
{
    if (!IsOn()) throw Error("the set is off");
    setenv("VBSET_TV", tv_.c_str(), 1);
    setenv("VBSET_BOX", box_.c_str(), 1);
    const fs::path work = layout::WorkingDirectory(tv_);
    if (chdir(work.c_str()) != 0) throw Error("cannot go to " + work.string() + ": " + std::strerror(errno));
    Attach(tv_, box_);
}

std::optional<std::vector<unsigned char>> Set::Eeprom(unsigned int item) const
{
    return ReadHostFile(layout::EepromItem(tv_, item));
}

std::optional<Mac> Set::MigratedMac() const
{
    const auto bytes = ReadHostFile(layout::MigratedMac(tv_));
    Mac mac{};
    if (!bytes || bytes->size() != mac.size()) return std::nullopt;
    std::copy(bytes->begin(), bytes->end(), mac.begin());
    return mac;
}

Mac Set::MacBlock() const
{
    const auto bytes = ReadHostFile(layout::MacBlock(box_)).value_or(std::vector<unsigned char>{});
    Mac mac;
    mac.fill(0xFF);
    std::copy_n(bytes.begin(), std::min(bytes.size(), mac.size()), mac.begin());
    return mac;
}

std::map<std::uint32_t, FactoryItem> Set::FactoryItems() const
{
    return FactoryStore(box_).All();
}

int Set::BootPartition() const
{
    std::string text = ReadHostText(layout::BootPartition(box_)).value_or("");
    while (!text.empty() && text.back() == '\n') text.pop_back();
    const auto number = ParseInteger(text);
    if (!number || *number < INT_MIN || *number > INT_MAX) {
        throw Error(layout::BootPartition(box_).string() + " holds no number");
    }
    return static_cast<int>(*number);
}

void Set::WriteEeprom(unsigned int item, const std::vector<unsigned char>& bytes)
{
    Need(WriteHostFile(layout::EepromItem(tv_, item), bytes), layout::EepromItem(tv_, item));
}

void Set::WriteMacBlock(const std::vector<unsigned char>& bytes)
{
    Need(WriteHostFile(layout::MacBlock(box_), bytes), layout::MacBlock(box_));
}

void Set::WriteFactoryItem(std::uint32_t uid, const FactoryItem& item)
{
    Need(FactoryStore(box_).Write(uid, item), layout::Factory(box_) / std::to_string(uid));
}

fs::path Set::Partition(const std::string& partition) const
{
    if (partition == "migration") return layout::Migration(box_);
    if (partition == "data_sync") return layout::DataSync(tv_);
    throw Error("there is no partition '" + partition + "'");
}

bool Set::IsMounted(const std::string& partition) const
{
    std::error_code error;
    const fs::path contents = Partition(partition);
    return IsOn() && fs::read_symlink(layout::Mounts(tv_) / partition, error) == contents;
}

std::optional<fs::path> Set::Map(const std::string& path) const
{
    char host[PATH_MAX];
    const PathTable table = PathTable::Parse(ReadHostText(layout::Paths(tv_)).value_or(""));
    if (!table.Map(path.c_str(), host, sizeof host)) return std::nullopt;
    return host;
}

}  // namespace vbset
