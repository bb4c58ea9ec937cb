#include "Request.h"

#include <climits>

#include "Text.h"

namespace vbset::service {

std::optional<Request> ParseRequest(const std::string& text)
{
    const std::size_t codeEnd = text.find(':');
    const std::size_t thirdStart = text.rfind(':');
    if (codeEnd == std::string::npos || thirdStart <= codeEnd + 1) {
        return std::nullopt;
    }
    const std::size_t secondStart = text.rfind(':', thirdStart - 1);
    const auto code = ParseNumber(text.substr(0, codeEnd));
    if (!code || secondStart <= codeEnd) {
        return std::nullopt;
    }
    Request request;
    request.code = *code;
    request.first = text.substr(codeEnd + 1, secondStart - codeEnd - 1);
    request.second = text.substr(secondStart + 1, thirdStart - secondStart - 1);
    request.third = text.substr(thirdStart + 1);
    return request;
}

std::optional<int> ParseNumber(const std::string& text)
{
    const auto number = ParseInteger(text);
    const bool fits = number && *number >= INT_MIN && *number <= INT_MAX;
    return fits ? std::optional(static_cast<int>(*number)) : std::nullopt;
}

}  // namespace vbset::service
