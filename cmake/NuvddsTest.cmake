# SPDX-License-Identifier: Apache-2.0
include(GoogleTest)

# nuvdds_test(DIRECTORY [PROPERTIES ...])
#
# All sources of DIRECTORY make one executable, test_<directory>; each of its tests is one of ctest's.
function(nuvdds_test directory)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "PROPERTIES")
    cmake_path(GET directory FILENAME name)
    file(GLOB sources CONFIGURE_DEPENDS ${directory}/*.cpp ${directory}/*.c)

    add_executable(test_${name} ${sources})
    target_link_libraries(test_${name} PRIVATE nuvdds_test_support GTest::gtest_main)
    target_precompile_headers(test_${name} REUSE_FROM nuvdds_test_support)

    gtest_discover_tests(test_${name}
        TEST_PREFIX ${name}.
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT 120 ${arg_PROPERTIES}
    )
endfunction()
