include(GoogleTest)

# nuvdds_test(DIRECTORY [PROPERTIES ...])
#
# All sources of DIRECTORY make one executable, test_<directory>. Two optional files steer it:
#
#   wraps.txt  one symbol per line; each call of it goes to __wrap_SYMBOL, which the directory
#              or tests/support defines and which reaches the original as __real_SYMBOL
#   serial     empty; the tests use fixed UDP ports, no two such tests run at the same time
function(nuvdds_test directory)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "PROPERTIES")
    cmake_path(GET directory FILENAME name)
    file(GLOB sources CONFIGURE_DEPENDS ${directory}/*.cpp ${directory}/*.c)
    file(GLOB wraps CONFIGURE_DEPENDS ${directory}/wraps.txt)
    file(GLOB serial CONFIGURE_DEPENDS ${directory}/serial)

    add_executable(test_${name} ${sources})
    target_link_libraries(test_${name} PRIVATE nuvdds_test_support GTest::gtest_main)
    target_precompile_headers(test_${name} REUSE_FROM nuvdds_test_support)

    if(wraps)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${wraps})
        file(STRINGS ${wraps} symbols REGEX "^[^#]")
        foreach(symbol IN LISTS symbols)
            # Named undefined as well, so that the linker takes __wrap_SYMBOL out of tests/support
            # before it meets the library that calls it.
            target_link_options(test_${name} PRIVATE LINKER:--wrap=${symbol},--undefined=__wrap_${symbol})
        endforeach()
    endif()

    if(serial)
        list(APPEND arg_PROPERTIES RESOURCE_LOCK udp-ports)
    endif()
    gtest_discover_tests(test_${name}
        TEST_PREFIX ${name}.
        DISCOVERY_MODE PRE_TEST
        DISCOVERY_TIMEOUT 60
        PROPERTIES TIMEOUT 120 ${arg_PROPERTIES}
    )
endfunction()
