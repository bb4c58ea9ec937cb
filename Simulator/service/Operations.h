/** @file
 * What the migration service does for each request code, with a privileged process's rights on the set.
 */
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <optional>
#include <string>

#include "Request.h"
#include "Set.h"

namespace vbset::service {

/** Carries requests out, each of them wholly and durably before it is answered. */
class Operations {
 public:
    explicit Operations(const Set& set) : set_(set) {}

    /** @return the reply text; a request that cannot be carried out is answered with the status -1, or no data */
    std::string CarryOut(const Request& request);

 private:
    std::string RunCommand(const Request& request);
    std::string ReadFile(const Request& request) const;
    std::string WriteFile(const Request& request) const;
    std::string TestPath(const Request& request) const;
    std::string FetchArchive() const;
    std::string SendArchive() const;
    std::string GetBootPartition() const;
    std::string SetBootPartition(const Request& request) const;

    /** Where a path of the set or of its working directory lies; nothing for any other path. */
    std::optional<std::filesystem::path> Locate(const std::string& path) const;

    const Set& set_;
};

/** Ends the command that is being carried out, with all that it started. May be called in a signal handler. */
void EndCommand() noexcept;

}  // namespace vbset::service
