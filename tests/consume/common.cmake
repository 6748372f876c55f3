# SPDX-License-Identifier: Apache-2.0
# What the ways of using the library share.
cmake_minimum_required(VERSION 3.25)

set(example_C ${SOURCE_ROOT}/examples/quickstart.c)
set(example_CXX ${SOURCE_ROOT}/examples/quickstart_qos.cpp)
set(compiler_C ${C_COMPILER} -std=c11)
set(compiler_CXX ${CXX_COMPILER} -std=c++20)
set(suffix_C c)
set(suffix_CXX cpp)
set(warnings -Wall -Wextra -Wpedantic -Werror)

# What whoever runs the tests has set for programs of the library is not for those of the tests.
execute_process(COMMAND ${CMAKE_COMMAND} -E environment OUTPUT_VARIABLE environment)
string(REGEX MATCHALL "NUVDDS_[A-Z]+=" settings "${environment}")
foreach(setting IN LISTS settings)
    string(REPLACE "=" "" setting ${setting})
    unset(ENV{${setting}})
endforeach()

# run(COMMAND...): it must end with 0.
function(run)
    execute_process(COMMAND ${ARGN}
        RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output TIMEOUT 500)
    if(NOT result EQUAL 0)
        list(JOIN ARGN " " command)
        message(FATAL_ERROR "${command}\nended with ${result}:\n${output}")
    endif()
endfunction()

# run_program(PROGRAM): it must end with 0 in a network of its own, in which there is nobody else.
function(run_program program)
    foreach(isolated "unshare;--net" "unshare;--user;--map-root-user;--net")
        execute_process(COMMAND ${isolated} ip link set lo up RESULT_VARIABLE result
            OUTPUT_QUIET ERROR_QUIET)
        if(result EQUAL 0)
            run(${isolated} sh -c "ip link set lo up && exec ${program}")
            return()
        endif()
    endforeach()
    message(STATUS "No network of its own can be made for ${program}")
endfunction()

file(REMOVE_RECURSE ${BUILD})
file(MAKE_DIRECTORY ${BUILD})
