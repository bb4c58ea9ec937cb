#include <VBMigration.h>
#include <stdio.h>

int main(void)
{
    VB_VornBoxMigrationStatus_k status;
    int start = migration_api_notify_migration_status(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_START, &status);
    int dump = start == 0 ? migration_api_dump_non_volatile_data() : -1;
    int end = migration_api_notify_migration_status(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_END, &status);
    printf("start %d, dump %d, end %d\n", start, dump, end);
    return end == 0 ? 0 : 1; /* dump tells of the MAC address too: see "What the results mean" */
}
