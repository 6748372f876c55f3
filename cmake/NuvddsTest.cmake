# SPDX-License-Identifier: Apache-2.0

# nuvdds_test(DIRECTORY [PROPERTIES ...])
#
# All sources of DIRECTORY make one executable, test_<directory>, whose tests ctest runs with these
# PROPERTIES.
function(nuvdds_test directory)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "PROPERTIES")
    cmake_path(GET directory FILENAME name)
    file(GLOB sources CONFIGURE_DEPENDS ${directory}/*.cpp ${directory}/*.c)

    add_executable(test_${name} ${sources})
    target_link_libraries(test_${name} PRIVATE nuvdds_test_support)
    target_precompile_headers(test_${name} REUSE_FROM nuvdds_test_support)
    # Compiling the headers and templates that the sources have in common takes longer than what each is
    # about. So several sources are compiled as one.
    if(NOT DEFINED CMAKE_UNITY_BUILD)
        set_target_properties(test_${name} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
    endif()

    set(discover ${CMAKE_CURRENT_BINARY_DIR}/discover_${name}.cmake)
    file(GENERATE OUTPUT ${discover} CONTENT
"include([[${PROJECT_SOURCE_DIR}/cmake/NuvddsDiscover.cmake]])
nuvdds_discover(${name} [[$<TARGET_FILE:test_${name}>]] [[${PROJECT_BINARY_DIR}/reports]] ${arg_PROPERTIES})
")
    set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${discover})
endfunction()
