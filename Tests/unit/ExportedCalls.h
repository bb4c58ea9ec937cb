/** @file
 * Calls of exported functions, as the cases of a table.
 */
#pragma once

#include <VBMigration.h>

#include <functional>
#include <ostream>

struct NamedCall {
    const char* name;
    std::function<int()> call;
};

inline std::ostream& operator<<(std::ostream& out, const NamedCall& named)
{
    return out << named.name;
}

inline int Notify()
{
    VB_VornBoxMigrationStatus_k status = VB_MIGRATION_STATUS_SUCCESS;
    return migration_api_notify_migration_status(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_END, &status);
}

inline int GetBootPartition()
{
    int partition = 0;
    return migration_api_GetBootPartition(&partition);
}

