# cmake -D LIBRARY=... -D BASELINE=... -D SOURCE_DIRECTORY=... -D ABIDW=... -D ABIDIFF=... [-D RENEW=ON] -P baseline.cmake
#
# Compares the binary interface of a built library with the one in BASELINE: exported symbols, and all types that callers
# reach from them. With RENEW, writes it there.

# The library's debug information, as far as it is our interface and does not depend on where the library was built.
set(description ${LIBRARY}.abi)
execute_process(
    COMMAND ${ABIDW} --exported-interfaces-only --suppressions ${CMAKE_CURRENT_LIST_DIR}/not-ours.abignore
        --no-corpus-path --no-comp-dir-path --no-show-locs --no-elf-needed --no-parameter-names
        --out-file ${description} ${LIBRARY}
    COMMAND_ERROR_IS_FATAL ANY)
file(READ ${description} text)
string(REPLACE "${SOURCE_DIRECTORY}/" "" text "${text}")
file(WRITE ${description} "${text}")
if(NOT text MATCHES "<class-decl name='MigrationStrategy' size-in-bits=")
    message(FATAL_ERROR "${LIBRARY} was built without the debug information that tells its types")
endif()

if(RENEW)
    file(COPY_FILE ${description} ${BASELINE})
elseif(NOT EXISTS ${BASELINE})
    message("no baseline: there is no ${BASELINE}")
else()
    execute_process(
        COMMAND ${ABIDIFF} --no-default-suppression --harmless ${BASELINE} ${description}
        RESULT_VARIABLE result)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "The binary interface has changed (abidiff: ${result}). If that is meant to be, renew the "
            "baseline: cmake --build --preset PRESET --target renew-abi-baseline")
    endif()
endif()
