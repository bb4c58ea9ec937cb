/** @file
 * Reads of the start-up configuration from any thread.
 *
 * The variables keep their plain exported types; start-up may run again in one thread while another reads them, so both
 * sides go through these functions.
 */
#pragma once

#include <VBMigration.h>

/** Reads a variable of the configuration. */
inline int ReadConfig(const int& variable)
{
    return __atomic_load_n(&variable, __ATOMIC_RELAXED);
}

/** Writes a variable of the configuration. */
template <class Value>
void WriteConfig(Value& variable, Value value)
{
    __atomic_store_n(&variable, value, __ATOMIC_RELAXED);
}

/** @return the TV code, -1 until it is read */
inline int TvYear()
{
    return ReadConfig(MigrationCommon::miTVYear);
}
