#include "PowerCut.h"

#include <algorithm>

#include "Set.h"
#include "Text.h"

namespace vbset {

namespace {

constexpr std::string_view digits = "0123456789";

/** Takes a number off the front of a text. @return false unless one from @p least stands there */
bool TakeNumber(std::string_view& text, unsigned long least, unsigned long& number)
{
    constexpr std::size_t most = 9;
    const std::size_t length = std::min(text.find_first_not_of(digits), text.size());
    if (length == 0 || length > most) return false;
    number = static_cast<unsigned long>(ParseInteger(text.substr(0, length)).value_or(0));
    text.remove_prefix(length);
    return number >= least;
}

bool Parse(std::string_view text, PowerCut& cut)
{
    if (!TakeNumber(text, 1, cut.interaction) || text.empty()) return false;
    const char when = text.front();
    text.remove_prefix(1);
    switch (when) {
        case 'b':
            cut.when = PowerCut::When::Before;
            return text.empty();
        case 'a':
            cut.when = PowerCut::When::After;
            break;
        case 'w':
            cut.when = PowerCut::When::Bytes;
            if (!TakeNumber(text, 1, cut.amount)) return false;
            break;
        case '.':
            cut.when = PowerCut::When::Step;
            if (!TakeNumber(text, 1, cut.amount)) return false;
            break;
        default:
            return false;
    }
    if (text.empty()) return true;
    cut.unsynced = text.substr(1);
    return text.front() == '-' && !cut.unsynced.empty() && cut.unsynced.find_first_not_of("onz") == std::string::npos;
}

}  // namespace

PowerCut ParsePowerCut(std::string_view text)
{
    PowerCut cut;
    if (!Parse(text, cut)) {
        throw Error("'" + std::string(text) + "' is no place for a power cut: give the number of an interaction, as " +
                    "`vbset trace` shows it, and where in it: 17b (before), 17a (after), 17w425 (after 425 bytes of " +
                    "a write) or 17.2 (after its second step); 17a-o says what is lost (see vbset run --help)");
    }
    return cut;
}

std::string Text(const PowerCut& cut)
{
    std::string text = std::to_string(cut.interaction);
    switch (cut.when) {
        case PowerCut::When::Before: text += "b"; break;
        case PowerCut::When::After: text += "a"; break;
        case PowerCut::When::Bytes: text += "w" + std::to_string(cut.amount); break;
        case PowerCut::When::Step: text += "." + std::to_string(cut.amount); break;
    }
    return cut.unsynced.empty() ? text : text + "-" + cut.unsynced;
}

char Outcome(std::string_view unsynced, std::size_t position)
{
    if (unsynced.empty()) return 'n';
    return position < unsynced.size() ? unsynced[position] : unsynced.back();
}

}  // namespace vbset
