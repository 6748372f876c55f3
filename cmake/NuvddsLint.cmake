# SPDX-License-Identifier: Apache-2.0
# Instead of being compiled, each source is looked at by clang-tidy, with the very options that it would
# be compiled with. The preprocessor runs after it, for the list of the headers that it depends on: only
# what changed is looked at again.

find_program(NUVDDS_CLANG_TIDY clang-tidy REQUIRED)

# The commands carry a digest of the configuration, so that a change of it has everything looked at.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/.clang-tidy)
file(SHA1 ${PROJECT_SOURCE_DIR}/.clang-tidy tidy_digest)
add_compile_definitions(NUVDDS_TIDY_${tidy_digest})

# Several sources are included in the one that stands for them, which is none of the slips that are looked
# for by that check.
foreach(language C CXX)
    set(compile "<CMAKE_${language}_COMPILER> <DEFINES> <INCLUDES> <FLAGS>")
    set(CMAKE_${language}_COMPILE_OBJECT
        "${NUVDDS_CLANG_TIDY} --quiet --checks=-bugprone-suspicious-include <SOURCE> -- ${compile}"
        "${compile} -E -o /dev/null <SOURCE>"
        "${CMAKE_COMMAND} -E touch <OBJECT>"
    )
endforeach()

# nuvdds_lint(DIRECTORY...)
#
# The target "lint": all sources of all targets in these directories and below. Nothing is linked.
function(nuvdds_lint)
    set(directories ${ARGN})
    set(objects "")
    while(directories)
        list(POP_FRONT directories directory)
        get_property(below DIRECTORY ${directory} PROPERTY SUBDIRECTORIES)
        list(APPEND directories ${below})
        get_property(targets DIRECTORY ${directory} PROPERTY BUILDSYSTEM_TARGETS)
        foreach(target IN LISTS targets)
            get_property(kind TARGET ${target} PROPERTY TYPE)
            if(kind MATCHES "EXECUTABLE|_LIBRARY$" AND NOT kind STREQUAL "INTERFACE_LIBRARY")
                list(APPEND objects $<TARGET_OBJECTS:${target}>)
            endif()
        endforeach()
    endwhile()
    add_custom_target(lint DEPENDS ${objects})
endfunction()
