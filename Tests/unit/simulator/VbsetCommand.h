/** @file
 * The command `vbset` as a user calls it: real processes, real bus, real directories.
 */
#pragma once

#include <Set.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "Program.h"

namespace fs = std::filesystem;
using nlohmann::json;
using Strings = std::vector<std::string>;

inline std::string ReadFile(const fs::path& file)
{
    std::ostringstream bytes;
    bytes << std::ifstream(file).rdbuf();
    return bytes.str();
}

class VbsetCommand : public testing::Test {
 protected:
    VbsetCommand()
    {
        std::string name = testing::TempDir() + "vbset-command-XXXXXX";
        directory_ = fs::canonical(mkdtemp(name.data()));
        vbset::Create("tv15", Tv());
        vbset::Create("box15", Box());
    }
    ~VbsetCommand() override { fs::remove_all(directory_); }

    const fs::path& Directory() const { return directory_; }
    fs::path Tv() const { return directory_ / "tv"; }
    fs::path Box() const { return directory_ / "box"; }

    static program::Ended Vbset(Strings words)
    {
        words.insert(words.begin(), VBSET_COMMAND);
        return program::Run(words);
    }

    program::Ended Run(const Strings& words, const Strings& options = {}) const
    {
        Strings all = {"run", Tv(), Box()};
        all.insert(all.end(), options.begin(), options.end());
        all.push_back("--");
        all.insert(all.end(), words.begin(), words.end());
        return Vbset(all);
    }

    program::Ended Shell(const std::string& script, const Strings& options = {}) const
    {
        return Run({"sh", "-c", script}, options);
    }

    json Show(const fs::path& side) const { return json::parse(Vbset({"show", side, "--json"}).output); }

    /** Every file and directory with its contents. */
    std::map<std::string, std::string> Snapshot() const
    {
        std::map<std::string, std::string> all;
        for (const auto& entry : fs::recursive_directory_iterator(directory_)) {
            all[entry.path()] = entry.is_regular_file() ? ReadFile(entry.path()) : "";
        }
        return all;
    }

    /** Replaces a text in a file. */
    static void Edit(const fs::path& file, const std::string& before, const std::string& after)
    {
        std::string text = ReadFile(file);
        const std::size_t position = text.find(before);
        ASSERT_NE(position, std::string::npos) << before;
        std::ofstream(file) << text.replace(position, before.size(), after);
    }

    void ExpectRefused(const Strings& words, const std::string& reason) const
    {
        const auto before = Snapshot();
        const program::Ended ended = Vbset(words);
        EXPECT_EQ(ended.status, 2) << testing::PrintToString(words);
        EXPECT_EQ(ended.output, "") << testing::PrintToString(words);
        EXPECT_EQ(std::count(ended.errors.begin(), ended.errors.end(), '\n'), 1) << ended.errors;
        EXPECT_EQ(ended.errors.rfind("vbset: ", 0), 0U) << ended.errors;
        EXPECT_NE(ended.errors.find(reason), std::string::npos) << ended.errors;
        EXPECT_EQ(Snapshot(), before) << testing::PrintToString(words);
    }

 private:
    fs::path directory_;
};
