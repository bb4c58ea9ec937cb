// What only callers in C++ have: the configuration and the strategy of a year.
#include <VBMigration.h>

#include <iostream>

int main()
{
    const int result = MigrationCommon::SetVornBoxSystemConfig();
    std::cout << "configuration " << result << ", TV " << MigrationCommon::miTVYear << ", box "
              << MigrationCommon::miVBYear << ", duolink " << MigrationCommon::bDLSupported << '\n';
    const MigrationStrategy* const strategy = get_Startegy();
    std::cout << "the strategy of this TV " << (strategy != nullptr ? "is there" : "is missing") << " and is "
              << (GetMigrationStrategy(MigrationCommon::miTVYear) == strategy ? "the only one" : "not the only one") << '\n';
    migration_final();
}
