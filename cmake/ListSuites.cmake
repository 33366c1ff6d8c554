# SPDX-License-Identifier: MIT
# Run by ctest through the files that tvlink_discover_suites() makes; they set the variables.
if("$ENV{TVLINK_SOAK}" STREQUAL "long")
    math(EXPR timeout "${timeout} * 20")
endif()
if(NOT EXISTS ${program})
    add_test(${prefix}not-built sh -c "echo ${program} is not built; false")
    return()
endif()

if(${program} IS_NEWER_THAN ${list_file} OR ${CMAKE_CURRENT_LIST_FILE} IS_NEWER_THAN ${list_file}
   OR ${include_file} IS_NEWER_THAN ${list_file})
    execute_process(COMMAND ${launcher} ${emulator} ${program} --gtest_list_tests
                    OUTPUT_VARIABLE listing ERROR_VARIABLE errors RESULT_VARIABLE result
                    TIMEOUT 60)
    if(NOT result EQUAL 0)
        message("${program} --gtest_list_tests failed (${result}):\n${listing}${errors}")
        add_test(${prefix}listing-failed sh -c "echo ${program} does not list its tests; false")
        return()
    endif()

    # A suite stands at the start of a line and ends in a dot; its cases are indented.
    string(REGEX MATCHALL "(^|\n)[^ \n]+\\." suites "${listing}")
    list(SORT suites)
    set(text "")
    foreach(suite IN LISTS suites)
        string(REGEX REPLACE "^\n|\\.$" "" suite "${suite}")
        set(name "[==[${prefix}${suite}]==]")
        string(APPEND text "add_test(${name}")
        foreach(word IN LISTS launcher emulator program)
            string(APPEND text " [==[${word}]==]")
        endforeach()
        string(APPEND text " [==[--gtest_filter=${suite}.*]==] --gtest_brief=1)\n")
        string(APPEND text "set_tests_properties(${name} PROPERTIES TIMEOUT \${timeout}"
                           " ENVIRONMENT [==[${environment}]==])\n")
    endforeach()
    file(WRITE ${list_file} "${text}")
endif()
include(${list_file})
