#include "Instructions.h"

#include <Process.h>
#include <Set.h>

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>

#include "Comparison.h"
#include "Statistics.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

/** The rest of a line that begins so; nothing of another one. */
bool TakePrefix(const std::string& line, const std::string& prefix, std::string& rest)
{
    if (line.compare(0, prefix.size(), prefix) != 0) return false;
    rest = line.substr(prefix.size());
    return true;
}

bool IsOfLibrary(const std::string& source)
{
    for (const char* room : {"/Common/", "/DBusServiceClient/", "/MacNPicture/", "/VBMigration/"}) {
        if (source.rfind(LIBRARY_SOURCES + std::string(room), 0) == 0) return true;
    }
    return false;
}

/** A file of callgrind's: functions, lines with what they cost themselves, and calls with what the callee costs. */
class CallgrindFile {
 public:
    explicit CallgrindFile(const fs::path& path)
    {
        std::ifstream file(path);
        isThere_ = file.is_open();
        for (std::string line; std::getline(file, line);) Read(line);
    }

    bool IsThere() const { return isThere_; }
    const std::string& Name() const { return name_; }
    const Count& Counted() const { return count_; }

 private:
    using Names = std::map<std::string, std::string>;

    /** A name is "(NUMBER) NAME" the first time and "(NUMBER)" later. */
    static const std::string& NameOf(const std::string& text, Names& names)
    {
        const std::size_t end = text.find(')');
        std::string& name = names[text.substr(0, end)];
        if (end + 2 < text.size()) name = text.substr(end + 2);
        return name;
    }

    void Read(const std::string& line)
    {
        std::string rest;
        if (TakePrefix(line, "desc: Trigger: Client Request: ", name_)) return;
        if (TakePrefix(line, "summary: ", rest)) {
            count_.instructions = std::atol(rest.c_str());
        } else if (TakePrefix(line, "fl=", rest)) {
            isOfLibrary_ = IsOfLibrary(NameOf(rest, files_));
        } else if (TakePrefix(line, "fi=", rest) || TakePrefix(line, "fe=", rest) || TakePrefix(line, "cfi=", rest)) {
            NameOf(rest, files_);
        } else if (TakePrefix(line, "fn=", rest)) {
            NameOf(rest, functions_);
        } else if (TakePrefix(line, "cfn=", rest)) {
            const std::string& callee = NameOf(rest, functions_);
            allocates_ = callee == "malloc" || callee == "calloc" || callee == "realloc";
        } else if (TakePrefix(line, "calls=", rest)) {
            if (allocates_) count_.allocations += std::atol(rest.c_str());
            isCostOfCall_ = true;
        } else if (!line.empty() && line.find(' ') != std::string::npos &&
                   (std::isdigit(line[0]) != 0 || line.find_first_of("+-*") == 0)) {
            if (isOfLibrary_ && !isCostOfCall_) count_.own += std::atol(line.c_str() + line.find(' '));
            isCostOfCall_ = false;
        }
    }

    bool isThere_ = false;
    std::string name_;
    Count count_;
    Names files_;
    Names functions_;
    bool isOfLibrary_ = false;  // the function at hand
    bool allocates_ = false;    // the callee at hand
    bool isCostOfCall_ = false;
};

/** What the counts of one role come to. */
Count Together(const std::vector<Count>& counts)
{
    const auto row = [&](long Count::*member) {
        std::vector<double> values;
        for (const Count& one : counts) values.push_back(static_cast<double>(one.*member));
        return values;
    };
    Count all = counts.front();
    all.instructions = std::lround(Median(row(&Count::instructions)));
    all.spread = std::lround(Spread(row(&Count::instructions)));
    all.own = std::lround(Median(row(&Count::own)));
    all.allocations = std::lround(Median(row(&Count::allocations)));
    return all;
}

/** The counts in a directory, in the order in which they were made. */
std::vector<Instructions> ReadCounts(const fs::path& directory)
{
    std::vector<Instructions> all;
    std::vector<Count> counts;
    for (int dump = 1;; ++dump) {
        const CallgrindFile file(directory / ("out." + std::to_string(dump)));
        if (!file.IsThere()) return all;
        if (file.Name() == kNotCounted) continue;
        counts.push_back(file.Counted());
        if (counts.size() < kCounts) continue;
        const std::size_t separator = file.Name().rfind(kRoleSeparator);
        const std::string what = file.Name().substr(0, separator);
        counts.front().role = file.Name().substr(separator + 1);
        if (all.empty() || all.back().what != what) all.push_back({what, {}});
        all.back().counts.push_back(Together(counts));
        counts.clear();
    }
}

std::vector<Instructions> CountGroup(const std::string& name, const std::string& program)
{
    std::cerr << "instructions of " << name << "..." << std::endl;
    std::string directory = (fs::temp_directory_path() / "vbmigration-count-XXXXXX").string();
    if (mkdtemp(directory.data()) == nullptr) throw vbset::Error("no temporary directory");
    vbset::Launch launch;
    launch.program = vbset::FindProgram("valgrind").value_or("valgrind");
    launch.arguments = {"valgrind", "--tool=callgrind", "-q", "--callgrind-out-file=" + directory + "/out", program,
                        "--count", name};
    launch.environment = vbset::Environment({});
    const int status = vbset::WaitFor(vbset::Start(launch));
    const std::vector<Instructions> all = status == 0 ? ReadCounts(directory) : std::vector<Instructions>{};
    fs::remove_all(directory);
    if (all.empty()) throw vbset::Error("the instructions of " + name + " could not be counted");
    return all;
}

}  // namespace

std::vector<Instructions> CountInstructions(const std::string& program)
{
    std::vector<Instructions> all = CountGroup("picture44-memory", program);
    std::vector<Instructions> more = CountGroup("picture62-memory", program);
    for (std::size_t i = 0; i < all.size() && i < more.size(); ++i) {
        const long difference = more[i].counts.front().own - all[i].counts.front().own;
        all[i].ownPerRecord = more[i].ownPerRecord = static_cast<double>(difference) / (62 - 44);
    }
    all.insert(all.end(), more.begin(), more.end());
    for (const char* group : {"service", "command-10MB", "backup", "restore"}) {
        for (Instructions& one : CountGroup(group, program)) all.push_back(std::move(one));
    }
    return all;
}

}  // namespace bench
