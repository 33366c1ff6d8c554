# SPDX-License-Identifier: MIT
# One test for each suite of a GoogleTest program. A process for each single case would cost more
# than the case itself under sanitizers and in the emulator.
#
# tvlink_discover_suites(TARGET PREFIX TIMEOUT SECONDS [LAUNCHER COMMAND...] [ENVIRONMENT VAR=VALUE...])
#
# ctest asks the program for its suites, when the program is newer than the list from the last time.
set(TVLINK_LIST_SUITES ${CMAKE_CURRENT_LIST_DIR}/ListSuites.cmake)

function(tvlink_discover_suites target prefix)
    cmake_parse_arguments(PARSE_ARGV 2 arg "" "TIMEOUT" "LAUNCHER;ENVIRONMENT")
    set(include_file ${CMAKE_CURRENT_BINARY_DIR}/${target}_tests.cmake)
    get_target_property(emulator ${target} CROSSCOMPILING_EMULATOR)
    if(NOT emulator)
        set(emulator "")
    endif()
    file(GENERATE OUTPUT ${include_file} CONTENT
"set(include_file [==[${include_file}]==])
set(program [==[$<TARGET_FILE:${target}>]==])
set(prefix [==[${prefix}]==])
set(timeout [==[${arg_TIMEOUT}]==])
set(launcher [==[${arg_LAUNCHER}]==])
set(emulator [==[${emulator}]==])
set(environment [==[${arg_ENVIRONMENT}]==])
set(list_file [==[${CMAKE_CURRENT_BINARY_DIR}/${target}_suites.cmake]==])
include([==[${TVLINK_LIST_SUITES}]==])
")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${include_file})
endfunction()
