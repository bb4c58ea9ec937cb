// A fresh process that makes its first call of the service through the library.

#include <PlatformLog.h>
#include <VBMigration.h>

/** Stands before the platform's: messages cost the call and nothing else. */
extern "C" __attribute__((visibility("default"))) int __dlog_print(int, int, const char*, const char*, ...)
{
    return 0;
}

int main()
{
    return MigrationCommon::ExecuteUserShell("true", true) == 0 ? 0 : 1;
}
