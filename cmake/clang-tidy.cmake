# SPDX-License-Identifier: MIT
# With TVLINK_CLANG_TIDY set, every source of the target is also checked when it is compiled, so
# that what did not change is not checked again.
function(tvlink_clang_tidy target)
    if(NOT TVLINK_CLANG_TIDY)
        return()
    endif()
    set_target_properties(${target} PROPERTIES
        CXX_CLANG_TIDY "${TVLINK_CLANG_TIDY};--quiet;-p;${CMAKE_BINARY_DIR}")
    get_target_property(sources ${target} SOURCES)
    get_target_property(source_dir ${target} SOURCE_DIR)
    foreach(source IN LISTS sources)
        cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${source_dir})
        set_property(SOURCE ${source} TARGET_DIRECTORY ${target} APPEND PROPERTY
            OBJECT_DEPENDS "${PROJECT_SOURCE_DIR}/.clang-tidy;${PROJECT_SOURCE_DIR}/tools/.clang-tidy")
    endforeach()
    set_property(GLOBAL APPEND PROPERTY TVLINK_TIDY_TARGETS ${target})
endfunction()
