# SPDX-License-Identifier: MIT
# The archives that are installed. Each is one object file, in which names that nobody was promised are local:
#
#   libtvlink.a        the names of tvlink.h, tvlink/observer.h and tvlink/host/, so that a host may have an
#                      `enqueue` or a `list_init` of its own
#   libtvlink_full.a   every exported name, as in the shared library, for a host that takes the service apart

# The names that the headers mark as exported.
function(tvlink_exported_names result)
    set(names "")
    foreach(header IN LISTS ARGN)
        file(STRINGS ${header} lines REGEX "TVLINK_API ")
        foreach(line IN LISTS lines)
            if(line MATCHES "TVLINK_API [^(]*\\(\\*?([A-Za-z0-9_]+)\\)\\(")
                list(APPEND names ${CMAKE_MATCH_1}) # a pointer to a function, or a name in parentheses
            elseif(line MATCHES "TVLINK_API [^(]*[ *]([A-Za-z0-9_]+)\\(")
                list(APPEND names ${CMAKE_MATCH_1}) # a function
            elseif(line MATCHES "TVLINK_API .*[ *]([A-Za-z0-9_]+)")
                list(APPEND names ${CMAKE_MATCH_1}) # data
            endif()
        endforeach()
        set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
    endforeach()
    list(REMOVE_DUPLICATES names)
    set(${result} ${names} PARENT_SCOPE)
endfunction()

# An archive of all objects as one, after objcopy with these options.
function(tvlink_archive target output)
    separate_arguments(flags UNIX_COMMAND "${CMAKE_C_FLAGS}")
    set(object ${CMAKE_CURRENT_BINARY_DIR}/${output}.o)
    add_custom_command(OUTPUT ${object}
        COMMAND ${CMAKE_C_COMPILER} ${flags} -r -nostdlib -o ${object} $<TARGET_OBJECTS:tvlink_objects>
        COMMAND ${CMAKE_OBJCOPY} ${ARGN} ${object}
        DEPENDS tvlink_objects $<TARGET_OBJECTS:tvlink_objects>
        COMMAND_EXPAND_LISTS VERBATIM)
    set_source_files_properties(${object} PROPERTIES EXTERNAL_OBJECT ON GENERATED ON)
    add_library(${target} STATIC ${object})
    set_target_properties(${target} PROPERTIES OUTPUT_NAME ${output})
endfunction()

file(GLOB host_headers CONFIGURE_DEPENDS
     ${PROJECT_SOURCE_DIR}/include/tvlink.h ${PROJECT_SOURCE_DIR}/include/tvlink/observer.h
     ${PROJECT_SOURCE_DIR}/include/tvlink/host/*.h)
tvlink_exported_names(host_names ${host_headers})
string(REPLACE ";" "\n" host_names "${host_names}\n")
set(host_names_file ${CMAKE_CURRENT_BINARY_DIR}/host_names.txt)
file(CONFIGURE OUTPUT ${host_names_file} CONTENT "${host_names}")

tvlink_archive(tvlink_archive_host tvlink --keep-global-symbols=${host_names_file})
tvlink_archive(tvlink_archive_full tvlink_full --localize-hidden)
set_target_properties(tvlink_archive_host PROPERTIES EXPORT_NAME tvlink_static)
set_target_properties(tvlink_archive_full PROPERTIES EXPORT_NAME tvlink_static_full)
