/** @file
 * The text of a request to the migration service.
 */
#pragma once

#include <optional>
#include <string>

namespace vbset::service {

/** A request: its code and its three fields. */
struct Request {
    int code = 0;
    std::string first;   ///< command, path or partition; may hold colons
    std::string second;  ///< byte count
    std::string third;   ///< data in hexadecimal
};

/** Takes a request apart: the code ends at the first colon, the second and third field are what follows the last two,
 * and all that is left between is the first field.
 * @return nothing when the text has no decimal code or fewer than four fields */
std::optional<Request> ParseRequest(const std::string& text);

/** A decimal number of 32 bits and nothing else. */
std::optional<int> ParseNumber(const std::string& text);

}  // namespace vbset::service
