/** @file
 * What a process holds of the machine: no more after something went wrong than before.
 */
#pragma once

#include <filesystem>
#include <map>
#include <ostream>
#include <string>

struct Resources {
    /** What this process holds now. */
    static Resources Now();

    /** What it holds when that is no more than before, or else after a while: what a thread gives back as it ends may
     * still be held for a moment after it was joined. */
    static Resources NowOrSoon(const Resources& before);

    /** Whether all of this was held before. */
    bool AreNoMoreThan(const Resources& before) const;

    std::map<int, std::string> descriptors;  ///< number and what it is
    int children = 0;                        ///< processes, ended or not
    int threads = 0;
    int mappings = 0;        ///< regions of memory that show a file, but for the system's
    int temporaryFiles = 0;  ///< in the directory for them, which has to be this process's own: OwnTemporaryFiles
};

/** Gives this process and those that it starts a directory for temporary files that nobody else uses. */
class OwnTemporaryFiles {
 public:
    OwnTemporaryFiles();
    ~OwnTemporaryFiles();
    OwnTemporaryFiles(const OwnTemporaryFiles&) = delete;
    OwnTemporaryFiles& operator=(const OwnTemporaryFiles&) = delete;

 private:
    std::filesystem::path directory_;
};

std::ostream& operator<<(std::ostream& out, const Resources& resources);
