#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>

#include "Commands.h"
#include "Set.h"
#include "Side.h"

namespace vbset {
namespace {

using Json = nlohmann::ordered_json;
using Facts = std::map<std::string, std::string>;

/** What a side holds, each thing under a name of its own. */
Facts FactsOf(const Json& holds)
{
    static const std::map<std::string, std::string> groups = {
        {"eeprom", "EEPROM "}, {"items", "item "}, {"files", "file "}};
    Facts facts;
    for (const auto& [name, value] : holds.items()) {
        const auto group = groups.find(name);
        if (group == groups.end()) {
            facts[name] = InWords(value);
            continue;
        }
        for (const auto& [member, part] : value.items()) {
            facts[group->second + member] = InWords(part);
        }
    }
    return facts;
}

}  // namespace

int Diff(const std::filesystem::path& first, const std::filesystem::path& second)
{
    const Json firstSide = DescribeSide(first);
    const Json secondSide = DescribeSide(second);
    if (firstSide["side"] != secondSide["side"]) {
        throw Error("a TV and a box cannot be compared");
    }
    const Facts firstFacts = FactsOf(firstSide["holds"]);
    const Facts secondFacts = FactsOf(secondSide["holds"]);
    Facts names = firstFacts;
    names.insert(secondFacts.begin(), secondFacts.end());
    int differences = 0;
    for (const auto& [name, ignored] : names) {
        const auto left = firstFacts.find(name);
        const auto right = secondFacts.find(name);
        const std::string leftText = left == firstFacts.end() ? "none" : left->second;
        const std::string rightText = right == secondFacts.end() ? "none" : right->second;
        if (leftText != rightText) {
            std::printf("%s\n  - %s\n  + %s\n", name.c_str(), leftText.c_str(), rightText.c_str());
            ++differences;
        }
    }
    return differences == 0 ? exitDone : exitDifferent;
}

}  // namespace vbset
