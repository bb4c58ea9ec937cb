/** @file
 * The operator's command on a simulated set: real processes, real bus, real service.
 */
#pragma once

#include <EepromMap.h>
#include <Set.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "Program.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using Strings = std::vector<std::string>;

const std::string kNotify = "migration_api_notify_migration_status";
const std::string kDump = "migration_api_dump_non_volatile_data";
const std::string kRestore = "migration_api_restore_non_volatile_data";

class VbmigrationCommand : public testing::Test {
 protected:
    VbmigrationCommand()
    {
        std::string name = testing::TempDir() + "vbmigration-test.XXXXXX";
        directory_ = mkdtemp(name.data());
    }

    ~VbmigrationCommand() override { fs::remove_all(directory_); }

    /** Joins new sides; without it the set is a TV of year 15 with a box of year 15. */
    void UseSides(const std::string& tv, const std::string& box)
    {
        vbset::Create(tv, Tv());
        vbset::Create(box, Box());
    }

    fs::path Tv() const { return directory_ / "tv"; }
    fs::path Box() const { return directory_ / "box"; }

    program::Ended OnSet(const Strings& words, const Strings& faults = {})
    {
        if (!fs::exists(Tv())) {
            UseSides("tv15", "box15");
        }
        Strings arguments = {VBSET_COMMAND, "run"};
        for (const std::string& fault : faults) {
            arguments.insert(arguments.end(), {"--fault", fault});
        }
        arguments.insert(arguments.end(), {Tv(), Box(), "--", VBMIGRATION_COMMAND});
        arguments.insert(arguments.end(), words.begin(), words.end());
        return program::Run(arguments);
    }

    json CallsOnSet(Strings words, const Strings& faults = {})
    {
        words.push_back("--json");
        const auto ended = OnSet(words, faults);
        const json calls = json::parse(ended.output, nullptr, false);
        EXPECT_TRUE(calls.is_array()) << ended.output << ended.errors;
        return calls;
    }

    json StatusOnSet()
    {
        const auto ended = OnSet({"status", "--json"});
        EXPECT_EQ(ended.status, 0) << ended.errors;
        return json::parse(ended.output, nullptr, false);
    }

    /** How often the last run's library, or the command itself, asked something of the set. */
    int Interactions() const
    {
        std::ifstream file(Tv() / "trace.jsonl");
        std::string line;
        int count = 0;
        while (std::getline(file, line)) {
            const json entry = json::parse(line, nullptr, false);
            count = entry.contains("run") ? 0 : count + (entry.contains("n") ? 1 : 0);
        }
        return count;
    }

    std::string Log() const
    {
        std::ifstream file(Tv() / "platform.log");
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    void WritePowerFlag(unsigned char flag)
    {
        if (!fs::exists(Tv())) {
            UseSides("tv15", "box15");
        }
        vbset::Set(Tv(), Box()).WriteEeprom(EEPROM_ITEM_POWER_FLAG, {flag});
    }

 private:
    fs::path directory_;
};

/** "function result" of each call; a summary is none. */
inline Strings Outline(const json& calls)
{
    Strings outline;
    for (const json& call : calls) {
        if (call.contains("summary")) {
            continue;
        }
        outline.push_back(call.value("function", "") + " " + call.value("result", json()).dump());
    }
    return outline;
}

}  // namespace
