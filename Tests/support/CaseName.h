/** @file
 * Names for the cases of a table: what a case prints, as far as a test's name can hold it.
 */
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <sstream>
#include <string>

template <class Case>
std::string CaseName(const ::testing::TestParamInfo<Case>& info)
{
    std::ostringstream text;
    text << info.param;
    std::string name;
    for (const char c : text.str()) {
        name += std::isalnum(static_cast<unsigned char>(c)) != 0 ? c : '_';
    }
    return name + "_" + std::to_string(info.index);
}
