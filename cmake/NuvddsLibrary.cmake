# SPDX-License-Identifier: Apache-2.0
# How the library is put together: the objects of each floor, which only this tree sees, and of all of
# them the one library that others link, shared and static.

# Counts the incompatible changes of the binary interface; 0 as long as none is promised to be stable.
set(NUVDDS_INTERFACE_VERSION 0)

# nuvdds_floor(NAME INCLUDE_ROOT BELOW SOURCE...)
#
# The floor nuvdds_NAME. It sees INCLUDE_ROOT and those of the floor BELOW, and so on down; it sees
# nothing above, so that an include that goes up does not compile.
function(nuvdds_floor name include_root below)
    add_library(nuvdds_${name} OBJECT ${ARGN})
    target_include_directories(nuvdds_${name} PUBLIC ${include_root})
    target_link_libraries(nuvdds_${name} PUBLIC ${below})
    target_compile_options(nuvdds_${name} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)
    # A symbol that is unique in the process would keep a plugin loaded.
    target_compile_options(nuvdds_${name} PRIVATE $<$<COMPILE_LANG_AND_ID:CXX,GNU>:-fno-gnu-unique>)
    set_target_properties(nuvdds_${name} PROPERTIES
        POSITION_INDEPENDENT_CODE ON
        C_VISIBILITY_PRESET hidden
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
    )
    # The tests divert calls of one source to another, which the linker has to see.
    if(NUVDDS_TESTS)
        set_target_properties(nuvdds_${name} PROPERTIES UNITY_BUILD OFF)
    endif()
    nuvdds_guide_fuzzing(nuvdds_${name})
    # The lowest floor has the header for all of them, which are compiled alike.
    get_property(floors GLOBAL PROPERTY NUVDDS_FLOORS)
    if(PROJECT_IS_TOP_LEVEL AND floors)
        list(GET floors 0 lowest)
        target_precompile_headers(nuvdds_${name} REUSE_FROM ${lowest})
    elseif(PROJECT_IS_TOP_LEVEL)
        target_precompile_headers(nuvdds_${name} PRIVATE ${PROJECT_SOURCE_DIR}/lower/precompiled.h)
    endif()
    set_property(GLOBAL APPEND PROPERTY NUVDDS_FLOORS nuvdds_${name})
endfunction()

# nuvdds_library(KIND EXPORT_NAME INCLUDE_ROOT)
#
# All floors as one library "nuvdds" of a KIND, SHARED or STATIC, which is known to whoever finds the
# package as nuvdds::EXPORT_NAME. Its public headers are in INCLUDE_ROOT.
function(nuvdds_library kind export_name include_root)
    string(TOLOWER nuvdds_${kind} target)
    get_property(floors GLOBAL PROPERTY NUVDDS_FLOORS)
    list(TRANSFORM floors REPLACE ".+" "$<TARGET_OBJECTS:\\0>" OUTPUT_VARIABLE objects)

    add_library(${target} ${kind} ${objects})
    target_include_directories(${target} PUBLIC
        $<BUILD_INTERFACE:${include_root}>
        $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
    )
    target_link_libraries(${target} PRIVATE Threads::Threads)
    set_target_properties(${target} PROPERTIES
        OUTPUT_NAME nuvdds
        EXPORT_NAME ${export_name}
        LINKER_LANGUAGE CXX
    )
    if(kind STREQUAL "STATIC")
        # Whoever links it may know of C only.
        target_link_libraries(${target} PRIVATE stdc++)
    else()
        # The headers of the C++ library make some of its names visible in whoever uses them.
        set(names ${CMAKE_CURRENT_BINARY_DIR}/nuvdds.map)
        file(CONFIGURE OUTPUT ${names} CONTENT
            "NUVDDS_@NUVDDS_INTERFACE_VERSION@ { global: DDS_*; KOLS_*; local: *; };\n" @ONLY)
        target_link_options(${target} PRIVATE LINKER:--version-script=${names})
        if(NOT NUVDDS_SANITIZE)
            target_link_options(${target} PRIVATE LINKER:--no-undefined)
        endif()
        set_target_properties(${target} PROPERTIES
            VERSION ${NUVDDS_INTERFACE_VERSION}.${PROJECT_VERSION}
            SOVERSION ${NUVDDS_INTERFACE_VERSION}
            LINK_DEPENDS ${names}
        )
    endif()
endfunction()
