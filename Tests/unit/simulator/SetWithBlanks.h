/** @file
 * A test on a set whose directories have blanks in their names.
 */
#pragma once

#include <TestSet.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

/** A temporary directory with a blank in its name, in which everything of the test lies. */
class DirectoryWithBlanks {
 protected:
    DirectoryWithBlanks()
    {
        std::string name = (std::filesystem::temp_directory_path() / "vbset test XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary directory");
        directory_ = name;
        setenv("TMPDIR", name.c_str(), 1);
    }
    ~DirectoryWithBlanks()
    {
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }

 private:
    std::filesystem::path directory_;
};

class SetWithBlanks : private DirectoryWithBlanks, public OnSet {};
