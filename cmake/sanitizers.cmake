# SPDX-License-Identifier: MIT
# TVLINK_SANITIZE applies to everything in the build, GoogleTest too: a sanitizer that sees only
# half of a program reports what is not there.
if(TVLINK_SANITIZE)
    add_compile_options(-O1 -g1 -fsanitize=${TVLINK_SANITIZE} -fno-sanitize-recover=all
                        -fno-omit-frame-pointer -fno-optimize-sibling-calls)
    add_link_options(-fsanitize=${TVLINK_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        # The instrumentation hides from GCC what has been initialised.
        add_compile_options(-Wno-maybe-uninitialized)
    endif()
endif()
