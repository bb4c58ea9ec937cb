#include "Bus.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "Live.h"
#include "Process.h"

namespace vbset {
namespace {

constexpr const char* addressVariable = "DBUS_SYSTEM_BUS_ADDRESS";

/** A directory that is gone with this object. */
class TemporaryDirectory {
 public:
    TemporaryDirectory();
    ~TemporaryDirectory()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

    const std::filesystem::path& Path() const { return path_; }

 private:
    std::filesystem::path path_;
};

/** Socket addresses are short, and a bus address takes few characters as they stand. */
bool FitsABusAddress(const std::string& directory)
{
    return directory.size() <= 60 && std::all_of(directory.begin(), directory.end(), [](unsigned char character) {
               return std::isalnum(character) != 0 || std::strchr("-_/.", character) != nullptr;
           });
}

TemporaryDirectory::TemporaryDirectory()
{
    std::error_code error;
    std::string base = std::filesystem::temp_directory_path(error).string();
    if (error || !FitsABusAddress(base)) {
        base = "/tmp";
    }
    std::string name = base + "/vbset-bus-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
        throw Error("cannot make a directory in " + base + ": " + std::strerror(errno));
    }
    path_ = name;
}

void WriteConfiguration(const std::filesystem::path& file, const std::filesystem::path& directory)
{
    std::ofstream stream(file);
    // An abstract socket: nothing of the bus is left behind, however it ends.
    stream << "<busconfig>\n"
              "  <listen>unix:abstract=" << directory.string() << "/bus</listen>\n"
              "  <auth>EXTERNAL</auth>\n"
              "  <policy context=\"default\">\n"
              "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
              "    <allow eavesdrop=\"true\"/>\n"
              "    <allow own=\"*\"/>\n"
              "  </policy>\n"
              "</busconfig>\n";
    stream.close();
    if (!stream) {
        throw Error("cannot write " + file.string());
    }
}

void End(pid_t& process)
{
    if (process <= 0) {
        return;
    }
    kill(process, SIGTERM);
    kill(process, SIGCONT);  // A stopped process would sleep on.
    WaitFor(process);
    process = -1;
}

}  // namespace

Bus::Bus(const Set& set) : tv_(set.TvDirectory()), box_(set.BoxDirectory())
{
    try {
        StartDaemon();
        StartService();
    } catch (...) {
        Stop();
        throw;
    }
    if (const char* previous = std::getenv(addressVariable)) {
        previousAddress_ = previous;
    }
    setenv(addressVariable, address_.c_str(), 1);
}

Bus::~Bus()
{
    Stop();
    if (previousAddress_) {
        setenv(addressVariable, previousAddress_->c_str(), 1);
    } else {
        unsetenv(addressVariable);
    }
}

void Bus::StartDaemon()
{
    const auto program = FindProgram("dbus-daemon");
    if (!program) {
        throw Error("dbus-daemon is not installed");
    }
    const TemporaryDirectory directory;
    const auto configuration = directory.Path() / "bus.conf";
    WriteConfiguration(configuration, directory.Path());

    // What the daemon says is of use only when it does not start.
    const Descriptor errors(memfd_create("dbus-daemon", MFD_CLOEXEC));
    Pipe address = MakePipe();
    Launch launch;
    launch.program = *program;
    launch.arguments = {"dbus-daemon", "--config-file=" + configuration.string(), "--nofork", "--nopidfile",
                        "--print-address=" + std::to_string(address.write.Get())};
    launch.environment = Environment({{"LD_PRELOAD", std::nullopt}});
    launch.passed = address.write.Get();
    launch.errors = errors.Get();
    launch.inBackground = true;
    launch.endsWithParent = true;
    daemon_ = Start(launch);
    address.write.Close();
    address_ = ReadText(address.read, true);
    if (address_.empty()) {
        lseek(errors.Get(), 0, SEEK_SET);
        throw Error("dbus-daemon did not start: " + ReadText(errors, true));
    }
}

void Bus::StartService()
{
    End(service_);
    live::ReloadFaults();
    const char* const state = live::Fault("service.state");
    if (state != nullptr && std::strcmp(state, "absent") == 0) {
        return;
    }
    Pipe ready = MakePipe();
    Launch launch;
    launch.program = LibexecDirectory() / "vbset-service";
    launch.arguments = {"vbset-service", "--ready-fd=" + std::to_string(ready.write.Get())};
    launch.environment = Environment({{"LD_PRELOAD", std::nullopt},
                                      {"VBSET_TV", tv_.string()},
                                      {"VBSET_BOX", box_.string()},
                                      {"VBSET_SIDE", "service"},
                                      {addressVariable, address_}});
    launch.passed = ready.write.Get();
    launch.inBackground = true;
    launch.endsWithParent = true;
    service_ = Start(launch);
    ready.write.Close();
    if (ReadText(ready.read, true) != "ready") {
        End(service_);
        throw Error("the migration service did not start");
    }
}

void Bus::StopService()
{
    End(service_);
}

void Bus::Stop()
{
    End(service_);
    End(daemon_);
}

}  // namespace vbset
