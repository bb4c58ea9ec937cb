/** @file
 * Work in a process of its own, because the library has one client and one set a process.
 */
#pragma once

#include <functional>
#include <string>

namespace bench {

/** Does something in a child of this process. @return what it gives  @throw vbset::Error when it fails */
std::string InOwnProcess(const std::string& name, const std::function<std::string()>& work);

}  // namespace bench
