# Makes every program that is linked startable on this machine, by ctest, by a shell or by another program: the program
# itself gets the suffix ".elf", and under its name stands a script that has qemu run it. For tests: such a program can
# be started where it was built and nowhere else.
find_program(QEMU_ARM qemu-arm-static REQUIRED)

foreach(language C CXX)
    list(APPEND CMAKE_${language}_LINK_EXECUTABLE
        "sh ${CMAKE_CURRENT_LIST_DIR}/make-startable.sh <TARGET> ${QEMU_ARM} ${CMAKE_SYSROOT}")
endforeach()

# What an emulated program starts in its turn is this machine's: a shell, cat. The library that `vbset run` preloads is
# there in a build for those too, in lib/ARCHITECTURE as the other one.
execute_process(COMMAND cc -print-multiarch
    OUTPUT_VARIABLE host OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
include(ExternalProject)
ExternalProject_Add(host-paths
    SOURCE_DIR ${PROJECT_SOURCE_DIR}
    BINARY_DIR ${CMAKE_BINARY_DIR}/host
    CMAKE_ARGS -DCMAKE_BUILD_TYPE=RelWithDebInfo -DBUILD_TESTING=OFF -DCMAKE_INSTALL_LIBDIR=lib/${host}
    BUILD_COMMAND ${CMAKE_COMMAND} --build <BINARY_DIR> --target vbset-paths
    BUILD_ALWAYS ON
    INSTALL_COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/lib
    COMMAND ${CMAKE_COMMAND} -E create_symlink <BINARY_DIR>/lib/${host} ${CMAKE_BINARY_DIR}/lib/${host})
