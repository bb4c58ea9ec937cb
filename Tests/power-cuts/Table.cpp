#include "Table.h"

#include <Text.h>

#include <cstdio>

#include "Trial.h"

namespace powercut {

namespace {

class Teller : public Watcher {
 public:
    void Ran(Flow flow, const vbset::PowerCut* cut, const Machine& after) override
    {
        std::printf("%s", NameOf(flow));
        if (cut != nullptr) {
            std::printf(", power cut at %s after %lu interactions", Text(*cut).c_str(), after.run.last);
        } else {
            std::printf(": %s", after.run.results.Text().c_str());
        }
        std::printf("\n  power flag 0x%02X\n", after.set.kept.powerFlag);
        for (const char* name : after.set.kept.files.Unsynced()) std::printf("  not synced: %s\n", name);
        for (const auto& [name, bytes] : after.set.kept.files.Files()) {
            std::printf("  %s: %zu bytes\n", name.c_str(), bytes.size());
        }
    }
    void Left(const MemorySet&) override {}
};

class StatePrinter : public Watcher {
 public:
    void Ran(Flow flow, const vbset::PowerCut* cut, const Machine& after) override
    {
        std::printf("= %s %s %s\n", NameOf(flow), cut == nullptr ? "-" : Text(*cut).c_str(),
                    cut == nullptr ? after.run.results.Text().c_str() : "cut");
    }
    void Left(const MemorySet& set) override
    {
        for (const auto& [name, bytes] : HoldingsOf(set)) {
            if (IsTemporary(name)) continue;
            std::printf("%s\t%s\n", name.c_str(),
                        vbset::Hex(reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size()).c_str());
        }
    }
};

}  // namespace

bool Replay(const std::string& id)
{
    Trial trial;
    Teller teller;
    const Tried tried = trial.Try(Case::Parse(id), &teller);
    if (tried.complaint.empty()) {
        std::printf("%s: %s\n", id.c_str(), NameOf(tried.outcome));
    } else {
        std::printf("FAILED %s\n%s", id.c_str(), tried.complaint.c_str());
    }
    return tried.complaint.empty();
}

bool PrintStates(const std::string& id)
{
    Trial trial;
    StatePrinter printer;
    return trial.Try(Case::Parse(id), &printer).complaint.empty();
}

}  // namespace powercut
