# SPDX-License-Identifier: MIT
# The system functions that tests take over, from the one list of them.
#
# tvlink_take_system_calls(TARGET) brings the calls that TARGET and what it links statically make of
# them to tests/support/system_calls.cpp. TVLINK_FAILING_CALLS: those with an error to fail with.
set(TVLINK_SYSTEM_CALLS ${PROJECT_SOURCE_DIR}/tests/support/system_calls)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${TVLINK_SYSTEM_CALLS}.def)
file(STRINGS ${TVLINK_SYSTEM_CALLS}.def entries REGEX "^SYSTEM_CALL\\(")
set(TVLINK_WRAP_OPTIONS "")
set(TVLINK_FAILING_CALLS "")
foreach(entry IN LISTS entries)
    string(REGEX MATCH "\\(([a-z0-9_]+), ([A-Z0]+)" matched ${entry})
    list(APPEND TVLINK_WRAP_OPTIONS LINKER:--wrap=${CMAKE_MATCH_1})
    if(NOT CMAKE_MATCH_2 STREQUAL 0)
        list(APPEND TVLINK_FAILING_CALLS ${CMAKE_MATCH_1})
    endif()
endforeach()

function(tvlink_take_system_calls target)
    target_sources(${target} PRIVATE ${TVLINK_SYSTEM_CALLS}.cpp)
    target_link_options(${target} PUBLIC ${TVLINK_WRAP_OPTIONS})
endfunction()
