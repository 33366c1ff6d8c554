# SPDX-License-Identifier: MIT
# Tests without a test program: the headers, the libraries as files, the sources as text.

set(c11_flags -std=c11 ${TVLINK_WARNINGS})
set(cxx17_flags -std=c++17 ${TVLINK_WARNINGS})
separate_arguments(c_flags UNIX_COMMAND "${CMAKE_C_FLAGS}")
separate_arguments(cxx_flags UNIX_COMMAND "${CMAKE_CXX_FLAGS}")
function(tvlink_header_tests name directory names)
    add_test(NAME ${prefix}${name}_c11
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_headers ${directory} ${names}
                ${CMAKE_C_COMPILER} ${c_flags} -x c ${c11_flags})
    add_test(NAME ${prefix}${name}_cxx17
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_headers ${directory} ${names}
                ${CMAKE_CXX_COMPILER} ${cxx_flags} -x c++ ${cxx17_flags})
endfunction()
tvlink_header_tests(header ${PROJECT_SOURCE_DIR}/include *.h)
tvlink_header_tests(controlpoint_header ${PROJECT_SOURCE_DIR}/tools/controlpoint controlpoint*.h)

if(NOT TVLINK_SANITIZE)
    add_test(NAME ${prefix}exported_names
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_exports ${CMAKE_NM} $<TARGET_FILE:tvlink>
                ${CMAKE_CURRENT_SOURCE_DIR}/exported_names.txt)
endif()

if(NOT TVLINK_SANITIZE AND NOT CMAKE_CROSSCOMPILING)
    add_test(NAME ${prefix}needed_libraries
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_needed ${CMAKE_READELF} $<TARGET_FILE:tvlink>)
    add_test(NAME ${prefix}installed_package
        COMMAND ${CMAKE_CURRENT_SOURCE_DIR}/check_package ${CMAKE_COMMAND} ${PROJECT_BINARY_DIR}
                ${CMAKE_CURRENT_SOURCE_DIR}/package)
endif()

# What does not depend on the compiler is tested once.
if(TVLINK_PRESET STREQUAL "dev" OR NOT TVLINK_PRESET)
    add_test(NAME ${prefix}layering COMMAND ${PROJECT_SOURCE_DIR}/scripts/check-layers)
    add_test(NAME ${prefix}format COMMAND ${PROJECT_SOURCE_DIR}/scripts/check-format)
    add_test(NAME ${prefix}licence COMMAND ${PROJECT_SOURCE_DIR}/scripts/check-licence)
    if(TVLINK_PRESET)
        add_test(NAME ${prefix}reference COMMAND ${PROJECT_SOURCE_DIR}/scripts/reference)
        add_test(NAME ${prefix}binary_interface
            COMMAND ${PROJECT_SOURCE_DIR}/scripts/abi $<TARGET_FILE:tvlink>)
    endif()
    if(TVLINK_TOOLS)
        add_test(NAME ${prefix}protocol_page
            COMMAND ${PROJECT_SOURCE_DIR}/scripts/protocol --check $<TARGET_FILE:tvlink-protocol>)
        add_test(NAME ${prefix}man_pages
            COMMAND ${PROJECT_SOURCE_DIR}/scripts/check-man $<TARGET_FILE:tvlink-ctl> $<TARGET_FILE:tvlink-sim>)
    endif()
endif()
