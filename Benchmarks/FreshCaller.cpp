// A fresh process that loads the library and, when told to, makes its first call of the service.

#include <VBMigration.h>

#include <cstring>

int main(int, char** values)
{
    return std::strcmp(values[1], "call") == 0 ? MigrationCommon::ExecuteUserShell("true", true) : 0;
}
