# SPDX-License-Identifier: Apache-2.0
# Read by ctest: what there is to test is asked of the test programs themselves, each time.

# nuvdds_discover(NAME PROGRAM REPORTS PROPERTIES...)
#
# Adds the tests of PROGRAM as NAME.SUITE.TEST, one process each. In the configuration "Suites"
# (ctest -C) there is one process for each suite, NAME.SUITE. In the directory REPORTS, each process
# writes what became of its tests into <process>.xml, and NAME.tests lists with which tests it has to
# come back, as lines "<process> <test>".
function(nuvdds_discover name program reports)
    execute_process(COMMAND ${program} --gtest_list_tests
        RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_QUIET TIMEOUT 60)
    if(NOT result EQUAL 0)
        add_test(${name}.TellsItsTests ${program} --gtest_list_tests)
        return()
    endif()

    # What follows a name is the value of a parameter, with any characters.
    string(REGEX REPLACE " +#[^\n]*" "" output "${output}")
    string(REGEX MATCHALL "[^\n]+" lines "${output}")
    set(list "")
    foreach(line IN LISTS lines)
        if(NOT line MATCHES "^  (.+)")
            string(REGEX REPLACE "[.]$" "" suite "${line}")
            set(process ${name}.${suite})
            if(CTEST_CONFIGURATION_TYPE STREQUAL "Suites")
                nuvdds_add_process(${process} ${suite}.* ${ARGN} TIMEOUT 300)
            endif()
            continue()
        endif()
        set(test ${suite}.${CMAKE_MATCH_1})
        if(NOT CTEST_CONFIGURATION_TYPE STREQUAL "Suites")
            set(process ${name}.${test})
            nuvdds_add_process(${process} ${test} ${ARGN} TIMEOUT 120
                SKIP_REGULAR_EXPRESSION "\\[  SKIPPED \\]")
        endif()
        string(APPEND list "${process} ${test}\n")
    endforeach()
    file(WRITE ${reports}/${name}.tests "${list}")
endfunction()

# nuvdds_add_process(PROCESS FILTER PROPERTIES...)
function(nuvdds_add_process process filter)
    add_test(${process} ${program}
        --gtest_filter=${filter} --gtest_output=xml:${reports}/${process}.xml)
    set_tests_properties(${process} PROPERTIES ${ARGN})
endfunction()
