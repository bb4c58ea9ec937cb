/** @file
 * The words that the command line accepts where a function takes a number.
 */
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace command {

/** Names for some of the values of an argument; every other number may be given as a number. */
class Words {
 public:
    struct Name {
        const char* name;
        int value;
    };

    Words(const char* what, std::vector<Name> names) : what_(what), names_(std::move(names)) {}

    /** The value of a known name or of a number, decimal or with 0x; nothing for any other text. */
    std::optional<int> Value(const std::string& text) const;

    /** The name of a value; empty when it has none. */
    std::string NameOf(int value) const;

    /** What is wrong with a text: empty when it has a value. */
    std::string Complaint(const std::string& text) const;

    /** What may be given, for the help. */
    std::string Help() const;

 private:
    const char* what_;
    std::vector<Name> names_;
};

extern const Words kProgresses;
extern const Words kDirections;
extern const Words kTestCodes;
extern const Words kItemCommands;
extern const Words kStatuses;
extern const Words kNumbers;  ///< no names

/** Migration types; on a set with TV code 13 they have values of their own. */
const Words& TypesFor(int tvCode);

}  // namespace command
