#include "Live.h"

#include <cstring>
#include <mutex>
#include <set>

#include "Faults.h"
#include "Here.h"
#include "HostFile.h"
#include "Layout.h"

namespace vbset {

namespace {

/** The faults that are on. Texts are kept for good, so that who holds one need not hold the lock. */
struct FaultTable {
    std::mutex mutex;
    std::map<std::string, const char*, std::less<>> on;
    std::set<std::string> texts;
    std::set<std::string> met;
    std::atomic<bool> any{false};
};

/** Outlives everything, as the set that it belongs to. */
FaultTable& TheFaults()
{
    static FaultTable& table = *new FaultTable;
    return table;
}

void Fill(FaultTable& table, const FaultMap& faults)
{
    table.on.clear();
    table.met.clear();
    for (const auto& [key, value] : faults) table.on[key] = table.texts.insert(value).first->c_str();
    table.any = !table.on.empty();
}

/** Looks for the value of a fault. @return true when this process has not met the fault since faults were last read */
bool Find(FaultTable& table, const char* key, const char*& value)
{
    const std::lock_guard<std::mutex> lock(table.mutex);
    const auto found = table.on.find(key);
    if (found == table.on.end()) return false;
    value = found->second;
    return table.met.insert(found->first).second;
}

}  // namespace

void LoadFaults(const std::filesystem::path& tv)
{
    const FaultMap faults = tv.empty() ? FaultMap{} : ParseFaults(ReadHostText(layout::Faults(tv)).value_or(""));
    FaultTable& table = TheFaults();
    const std::lock_guard<std::mutex> lock(table.mutex);
    Fill(table, faults);
}

bool live::OnSet() noexcept
{
    const ErrnoKeeper keeper;
    return Current() != nullptr;
}

const char* live::Fault(const char* key) noexcept
{
    const ErrnoKeeper keeper;
    const Here* here = Current();
    if (here == nullptr) return nullptr;
    FaultTable& table = TheFaults();
    if (!table.any) return nullptr;
    const char* value = nullptr;
    try {
        if (Find(table, key, value)) AppendHostText(layout::FaultsMet(here->tv), std::string(key) + "\n");
    } catch (const std::exception&) {
        // Out of memory: the fault acts all the same, but `vbset run` may say that it was never met.
    }
    return value;
}

void live::SetFault(const std::string& key, const char* value)
{
    const Here* here = Current();
    if (here == nullptr) throw Error("this process runs on no set that could have faults");
    if (value != nullptr) CheckFault(key, value);
    FaultTable& table = TheFaults();
    const std::lock_guard<std::mutex> lock(table.mutex);
    const std::filesystem::path file = layout::Faults(here->tv);
    FaultMap faults = ParseFaults(ReadHostText(file).value_or(""));
    if (value != nullptr) {
        faults[key] = value;
    } else {
        faults.erase(key);
    }
    const int error = WriteHostText(file, FaultsText(faults));
    if (error != 0) throw Error("cannot write " + file.string() + ": " + std::strerror(error));
    Fill(table, faults);
}

bool live::MapPath(const char* path, char* out, unsigned long size) noexcept
{
    const Here* here = Loaded();
    return here != nullptr && here->paths.Map(path, out, size);
}

void live::ReloadFaults() noexcept
{
    const ErrnoKeeper keeper;
    const Here* here = Current();
    if (here == nullptr) return;
    try {
        LoadFaults(here->tv);
    } catch (const std::exception&) {
        // Out of memory: the faults known so far stay on.
    }
}

}  // namespace vbset
