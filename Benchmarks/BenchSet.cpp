#include "BenchSet.h"

#include <Live.h>
#include <Process.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>

namespace bench {

namespace fs = std::filesystem;

namespace {

fs::path NewDirectory(const fs::path& parent)
{
    std::string name = (parent / "vbmigration-bench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category(), name);
    return name;
}

}  // namespace

void Demand(bool isDone, const char* what)
{
    if (!isDone) throw vbset::Error(std::string(what) + " failed");
}

BenchSet::BenchSet(const fs::path& parent, const std::string& tv, const std::string& box)
    : directory_(NewDirectory(parent))
{
    vbset::Create(tv, directory_ / "tv");
    vbset::Create(box, directory_ / "box");
    set_ = std::make_unique<vbset::Set>(directory_ / "tv", directory_ / "box");
    set_->PowerOn();
    set_->Enter();
    vbset::live::SetTracing(false);
}

BenchSet::~BenchSet()
{
    if (answering_ > 0) {
        kill(answering_, SIGTERM);
        vbset::WaitFor(answering_);
    }
    bus_.reset();
    set_.reset();
    fs::current_path("/");
    std::error_code ignored;
    fs::remove_all(directory_, ignored);
}

void BenchSet::StartAnsweringService()
{
    vbset::live::SetFault("service.state", "absent");
    bus_ = std::make_unique<vbset::Bus>(*set_);
    vbset::Pipe ready = vbset::MakePipe();
    vbset::Launch launch;
    launch.program = ANSWERING_SERVICE;
    launch.arguments = {"answering-service", std::to_string(ready.write.Get())};
    launch.environment = vbset::Environment({});
    launch.passed = ready.write.Get();
    launch.endsWithParent = true;
    answering_ = vbset::Start(launch);
    ready.write.Close();
    if (vbset::ReadText(ready.read, true) != "ready") throw vbset::Error("the answering service did not start");
}

void BenchSet::EndCommandsAtOnce()
{
    for (const char* command : {"spi_init.sh", "MigrationScript.sh", "mkdir", "rm"}) {
        vbset::live::SetFault(std::string("local.") + command, "0");
    }
}

}  // namespace bench
