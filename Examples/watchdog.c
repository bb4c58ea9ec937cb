#define _POSIX_C_SOURCE 200809L
#include <VBMigration.h>
#include <stdio.h>
#include <stdlib.h>

#include <signal.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

/* Returns what migrate() returned, 0 to 255; -1 when it was ended, or could not be begun. */
static int RunWithin(int seconds, int (*migrate)(void))
{
    pid_t child = fork();
    if (child < 0) {
        return -1;
    }
    if (child == 0) {
        _exit(migrate());
    }
    for (int tenth = 0; tenth < 10 * seconds; ++tenth) {
        int status = 0;
        if (waitpid(child, &status, WNOHANG) == child) {
            return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        const struct timespec pause = {0, 100 * 1000 * 1000};
        nanosleep(&pause, NULL);
    }
    kill(child, SIGKILL);
    waitpid(child, NULL, 0);
    return -1;
}

static int Backup(void)
{
    VB_VornBoxMigrationStatus_k status;
    if (migration_api_notify_migration_status(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_START, &status) == 0) {
        migration_api_dump_non_volatile_data();
    }
    return migration_api_notify_migration_status(VB_MIGRATION_TYPE_BACKUP, VB_MIGRATION_PROGRESS_END, &status) != 0;
}

int main(int argc, char** argv)
{
    const int result = RunWithin(argc > 1 ? atoi(argv[1]) : 600, Backup);
    puts(result == 0 ? "backup made" : result < 0 ? "ended, or not begun" : "backup failed");
    return result != 0;
}
