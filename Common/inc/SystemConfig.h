/** @file
 * Reads of the start-up configuration from any thread.
 *
 * The variables keep their plain exported types; start-up may run again in one thread while another reads them, so both
 * sides go through these functions.
 */
#pragma once

#include <VBMigration.h>

inline int ReadConfig(const int& variable)
{
    return __atomic_load_n(&variable, __ATOMIC_RELAXED);
}

template <class Value>
void WriteConfig(Value& variable, Value value)
{
    __atomic_store_n(&variable, value, __ATOMIC_RELAXED);
}

inline int TvYear()
{
    return ReadConfig(MigrationCommon::miTVYear);
}
