# SPDX-License-Identifier: Apache-2.0
# Fails when a source or header includes one of a higher floor. The include roots already keep the
# compiler from finding one; this also catches relative paths and what no target compiles.
#
# cmake -D ROOT=<source tree> -P CheckFloors.cmake

cmake_minimum_required(VERSION 3.25)

set(floors osapi log reda netio rtps commend pres disc dds_c)
set(above ${floors} domain infrastructure qos properties ddspart ddssim simnet)
set(wrong 0)

# The public header that the log implements; it knows of no floor.
set(logger "\"dds_c/dds_c_logger.h\"")

# The simulated network stands beside commend, on netio; nobody of the house knows of it.
list(APPEND floors simnet)

foreach(floor IN LISTS floors)
    list(POP_FRONT above)
    if(floor STREQUAL "dds_c")
        set(directory ${ROOT}/dds_c.1.0)
        set(above ddspart ddssim simnet)
    elseif(floor STREQUAL "simnet")
        set(directory ${ROOT}/lower/simnet)
        set(above commend pres disc dds_c domain infrastructure qos properties ddspart ddssim)
    else()
        set(directory ${ROOT}/lower/${floor})
    endif()
    list(JOIN above "|" higher)

    file(GLOB_RECURSE files ${directory}/*.h ${directory}/*.cpp ${directory}/*.c)
    foreach(file IN LISTS files)
        file(STRINGS ${file} includes REGEX "^[ \t]*#[ \t]*include[ \t]*[<\"]([^>\"]*/)?(${higher})/")
        if(NOT floor STREQUAL "osapi")
            list(FILTER includes EXCLUDE REGEX "${logger}")
        endif()
        foreach(include IN LISTS includes)
            message("${file}: ${include}: '${floor}' includes from above")
            math(EXPR wrong "${wrong} + 1")
        endforeach()
    endforeach()
endforeach()

if(wrong)
    message(FATAL_ERROR "${wrong} include(s) go up")
endif()
