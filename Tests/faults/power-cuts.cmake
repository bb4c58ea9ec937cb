# The power cut at every interaction.
add_library(power-cut-scenarios OBJECT Archive.cpp FlowNames.cpp Holdings.cpp MemorySet.cpp Scenario.cpp)
target_include_directories(power-cut-scenarios PUBLIC . ${PROJECT_SOURCE_DIR}/Simulator/set)
target_link_libraries(power-cut-scenarios PRIVATE warnings)

# The library's own objects on a set in memory, in processes without a thread.
set(simulator ${PROJECT_SOURCE_DIR}/Simulator)
add_executable(power-cut-sweep
    Flows.cpp
    GuaranteeTable.cpp
    Launcher.cpp
    Machine.cpp
    Main.cpp
    MemoryBus.cpp
    MemoryFiles.cpp
    MemoryPlatform.cpp
    MemoryScripts.cpp
    Model.cpp
    ModelFlows.cpp
    Sweep.cpp
    Table.cpp
    Trial.cpp
    ${simulator}/service/Request.cpp
    ${simulator}/set/FactoryStore.cpp
    ${simulator}/set/HostFile.cpp
    ${simulator}/set/LegacyBackup.cpp
    ${simulator}/set/PathTable.cpp
    ${simulator}/set/PowerCut.cpp
    ${simulator}/set/Text.cpp)
target_include_directories(power-cut-sweep PRIVATE ${simulator}/service)
target_link_libraries(power-cut-sweep PRIVATE power-cut-scenarios VBMigrationObjects warnings ${CMAKE_DL_LIBS})
# Its functions stand before those of the C library also for the libraries that it uses; there are few of these, and all is
# bound at once, because every process that is forked costs what is mapped and bound in it.
set_target_properties(power-cut-sweep PROPERTIES CXX_VISIBILITY_PRESET default)
target_link_options(power-cut-sweep PRIVATE -rdynamic -Wl,-z,now -Wl,--as-needed -static-libstdc++ -static-libgcc)

# The same on simulated sets of directories, with real processes.
add_executable(power-cut-flow FlowNames.cpp FlowProgram.cpp Flows.cpp)
target_link_libraries(power-cut-flow PRIVATE VBMigration warnings)

add_executable(power-cut-replay DirectoryHoldings.cpp RealSet.cpp ReplayMain.cpp)
target_link_libraries(power-cut-replay PRIVATE power-cut-scenarios program vbset warnings)
target_compile_definitions(power-cut-replay PRIVATE
    POWER_CUT_FLOW="$<TARGET_FILE:power-cut-flow>"
    POWER_CUT_SWEEP="$<TARGET_FILE:power-cut-sweep>"
    VBMIGRATION_COMMAND="$<TARGET_FILE:vbmigration>"
    VBSET_COMMAND="$<TARGET_FILE:vbset-command>")
add_dependencies(power-cut-replay power-cut-sweep power-cut-flow vbset-command vbset-paths vbset-service vbmigration)
add_dependencies(fault-tests power-cut-replay)

# The sweep's sample, and some of its cases on real processes, with every other test. The rest with `ctest -C faults`.
# What the sweep prints stands in the documentation too. Sanitizers make every run ten times as long.
set(page ${PROJECT_SOURCE_DIR}/docs/power-cuts.md)
set(agrees sh ${CMAKE_CURRENT_SOURCE_DIR}/agrees-with-page.sh ${page} $<TARGET_FILE:power-cut-sweep>)
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    add_test(NAME power-cuts.a-sample-leaves-what-the-model-says COMMAND power-cut-sweep --sample 1000)
    add_test(NAME power-cuts.real-processes-leave-the-same COMMAND power-cut-replay --sample 6)
else()
    add_test(NAME power-cuts.a-sample-leaves-what-the-model-says COMMAND ${agrees} --sample 20000)
    add_test(NAME power-cuts.real-processes-leave-the-same COMMAND power-cut-replay --sample 20)
    add_test(NAME power-cuts.the-page-has-the-table COMMAND ${agrees} --table)
endif()
set_tests_properties(power-cuts.a-sample-leaves-what-the-model-says power-cuts.real-processes-leave-the-same PROPERTIES
    TIMEOUT ${TEST_TIMEOUT} ENVIRONMENT "${TEST_ENVIRONMENT}")

add_test(NAME power-cuts.all-leave-what-the-model-says CONFIGURATIONS faults COMMAND ${agrees} --all)
add_test(NAME power-cuts.more-real-processes-leave-the-same CONFIGURATIONS faults COMMAND power-cut-replay --sample 150 2)
set_tests_properties(power-cuts.all-leave-what-the-model-says power-cuts.more-real-processes-leave-the-same PROPERTIES
    LABELS faults TIMEOUT 1800 ENVIRONMENT "${TEST_ENVIRONMENT}")
