# SPDX-License-Identifier: MIT
# Compiles a few files of one folder at a time, as one: most of the work for a file of tests or tools
# is that for the headers of their libraries. So no two files of one of their folders may have the same
# name for things of their own. The clang preset, which also checks files one by one, compiles each by
# itself.
function(tvlink_compile_together target)
    if(TVLINK_CLANG_TIDY)
        return()
    endif()
    get_target_property(sources ${target} SOURCES)
    get_target_property(source_dir ${target} SOURCE_DIR)
    list(FILTER sources INCLUDE REGEX "\\.cpp$")
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    # For names that are a file's own.
    target_compile_options(${target} PRIVATE
        $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage> $<$<CXX_COMPILER_ID:Clang>:-Wno-shadow>)
    foreach(source IN LISTS sources)
        cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${source_dir})
        cmake_path(GET source PARENT_PATH folder)
        cmake_path(GET folder STEM folder)
        if(NOT DEFINED count_${folder})
            set(count_${folder} 0)
        endif()
        math(EXPR part "${count_${folder}} / 6")
        math(EXPR count_${folder} "${count_${folder}} + 1")
        set_property(SOURCE ${source} TARGET_DIRECTORY ${target} PROPERTY
            UNITY_GROUP "${folder}${part}")
    endforeach()
endfunction()
