/** @file
 * Failed expectations, counted.
 */
#pragma once

#include <gtest/gtest.h>

/** How many expectations have failed in this test so far. */
inline int FailuresSoFar()
{
    return ::testing::UnitTest::GetInstance()->current_test_info()->result()->total_part_count();
}
