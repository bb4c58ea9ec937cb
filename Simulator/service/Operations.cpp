#include "Operations.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>

#include "Layout.h"
#include "PowerSwitch.h"
#include "Process.h"
#include "Text.h"

namespace vbset::service {
namespace {

using Bytes = std::vector<unsigned char>;
namespace fs = std::filesystem;

static_assert(std::atomic<pid_t>::is_always_lock_free, "a signal handler reads it");
std::atomic<pid_t> commandGroup{0};

std::string Reply(int code, long status, long value)
{
    return std::to_string(code) + ":" + std::to_string(status) + ":" + std::to_string(value);
}

/** Reads up to @p limit bytes from the start of a file. @return nothing when it cannot be opened or read */
std::optional<Bytes> ReadBytes(const fs::path& path, std::size_t limit)
{
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    Bytes bytes;
    while (file.Get() >= 0 && bytes.size() < limit) {
        unsigned char block[4096];
        const ssize_t count = read(file.Get(), block, std::min(sizeof block, limit - bytes.size()));
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count < 0) {
            return std::nullopt;
        }
        if (count == 0) {
            break;
        }
        bytes.insert(bytes.end(), block, block + count);
    }
    return file.Get() >= 0 ? std::optional(bytes) : std::nullopt;
}

/** @return how many bytes reached the storage */
std::size_t WriteAll(const Descriptor& file, const Bytes& bytes)
{
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = write(file.Get(), bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            break;
        }
        written += static_cast<std::size_t>(count);
    }
    return fsync(file.Get()) == 0 ? written : 0;
}

bool SyncDirectory(const fs::path& directory)
{
    const Descriptor file(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return file.Get() >= 0 && fsync(file.Get()) == 0;
}

/** Where the power is to go away with half of it written. */
void WriteHalfAndLosePower(const Descriptor& file, const Bytes& bytes)
{
    const auto half = static_cast<std::ptrdiff_t>(bytes.size() / 2);
    WriteAll(file, Bytes(bytes.begin(), bytes.begin() + half));
    power::Synced(file.Get());
    power::GoAway();
}

/** Puts a whole file in the place of another: after a power cut there is the old one or the new one. */
bool ReplaceFile(const fs::path& path, const Bytes& bytes)
{
    const fs::path half = path.string() + ".part";
    const Descriptor file(open(half.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    if (file.Get() < 0) {
        return false;
    }
    if (power::GoesAwayAtStep()) {
        WriteHalfAndLosePower(file, bytes);
    }
    const bool isWhole = WriteAll(file, bytes) == bytes.size();
    power::Synced(half);
    if (power::GoesAwayAtStep()) {
        power::GoAway();
    }
    if (!isWhole || rename(half.c_str(), path.c_str()) != 0) {
        unlink(half.c_str());
        return false;
    }
    const bool isDurable = SyncDirectory(path.parent_path());
    power::Synced(half);
    power::Synced(path);
    if (power::GoesAwayAtStep()) {
        power::GoAway();
    }
    return isDurable;
}

bool CopyArchive(const fs::path& from, const fs::path& to)
{
    std::error_code error;
    const auto size = fs::file_size(from, error);
    const auto bytes = error ? std::nullopt : ReadBytes(from, static_cast<std::size_t>(size));
    return bytes && bytes->size() == size && ReplaceFile(to, *bytes);
}

bool HasParentComponent(const fs::path& path)
{
    return std::find(path.begin(), path.end(), "..") != path.end();
}

}  // namespace

std::string Operations::CarryOut(const Request& request)
{
    switch (request.code) {
        case 0:
            return RunCommand(request);
        case 1:
            return ReadFile(request);
        case 2:
            return WriteFile(request);
        case 3:
            return TestPath(request);
        case 6:
            return FetchArchive();
        case 7:
            return SendArchive();
        case 8:
            return GetBootPartition();
        case 9:
            return SetBootPartition(request);
        default:
            return Reply(request.code, -1, 0);
    }
}

std::string Operations::RunCommand(const Request& request)
{
    Launch launch;
    launch.program = LibexecDirectory() / "vbset-sh";
    launch.arguments = {"vbset-sh", "-c", request.first};
    launch.environment = Environment({{"VBSET_SIDE", "service"}});
    launch.directory = layout::WorkingDirectory(set_.TvDirectory());
    launch.inBackground = true;
    launch.endsWithParent = true;
    try {
        commandGroup = Start(launch);
    } catch (const Error&) {
        return Reply(0, -1, 0);
    }
    const int status = WaitFor(commandGroup);
    commandGroup = 0;
    return Reply(0, ExitStatus(status), 0);
}

std::string Operations::ReadFile(const Request& request) const
{
    const auto path = Locate(request.first);
    const auto count = ParseNumber(request.second);
    if (!path || !count || *count < 0) {
        return "1:0:";
    }
    const auto bytes = ReadBytes(*path, static_cast<std::size_t>(*count)).value_or(Bytes());
    return "1:" + std::to_string(bytes.size()) + ":" + Hex(bytes);
}

std::string Operations::WriteFile(const Request& request) const
{
    const auto path = Locate(request.first);
    const auto count = ParseNumber(request.second);
    const auto bytes = ParseHex(request.third);
    if (!path || !count || !bytes || *count < 0 || bytes->size() != static_cast<std::size_t>(*count)) {
        return Reply(2, -1, 0);
    }
    // A device is written over in place; it neither gets shorter nor comes into being by a write.
    const bool isDevice = request.first.rfind("/dev/", 0) == 0;
    const int mode = O_WRONLY | O_CLOEXEC | (isDevice ? 0 : O_CREAT | O_TRUNC);
    const Descriptor file(open(path->c_str(), mode, 0644));
    if (file.Get() < 0) {
        return Reply(2, -1, 0);
    }
    if (power::GoesAwayAtStep()) {
        WriteHalfAndLosePower(file, *bytes);
    }
    const std::size_t written = WriteAll(file, *bytes);
    power::Synced(*path);
    const bool durable = SyncDirectory(path->parent_path());
    return Reply(2, durable ? static_cast<long>(written) : -1, 0);
}

std::string Operations::TestPath(const Request& request) const
{
    const auto path = Locate(request.first);
    return Reply(3, path && access(path->c_str(), F_OK) == 0 ? 0 : -1, 0);
}

namespace {

constexpr const char* tvArchive = "/opt/korvane_vbmg_Tavix.tar.gz";
constexpr const char* boxArchive = "nonvolatile/archive.tar.gz";

}  // namespace

std::string Operations::FetchArchive() const
{
    const auto archive = Locate(tvArchive);
    return Reply(6, archive && CopyArchive(set_.BoxDirectory() / boxArchive, *archive) ? 0 : -1, 0);
}

std::string Operations::SendArchive() const
{
    const auto archive = Locate(tvArchive);
    return Reply(7, archive && CopyArchive(*archive, set_.BoxDirectory() / boxArchive) ? 0 : -1, 0);
}

std::string Operations::GetBootPartition() const
{
    try {
        return Reply(8, 0, set_.BootPartition());
    } catch (const Error&) {
        return Reply(8, -1, 0);
    }
}

std::string Operations::SetBootPartition(const Request& request) const
{
    const auto partition = ParseNumber(request.first);
    if (!partition) {
        return Reply(9, -1, 0);
    }
    const std::string text = std::to_string(*partition) + "\n";
    const bool written = ReplaceFile(layout::BootPartition(set_.BoxDirectory()), Bytes(text.begin(), text.end()));
    return Reply(9, written ? 0 : -1, 0);
}

std::optional<std::filesystem::path> Operations::Locate(const std::string& path) const
{
    if (!path.empty() && path.front() == '/') {
        return set_.Map(path);
    }
    if (path.empty() || HasParentComponent(path)) {
        return std::nullopt;
    }
    return layout::WorkingDirectory(set_.TvDirectory()) / path;
}

void EndCommand() noexcept
{
    const pid_t group = commandGroup;
    if (group > 0) {
        kill(-group, SIGKILL);
    }
}

}  // namespace vbset::service
