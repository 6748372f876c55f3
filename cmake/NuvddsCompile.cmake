# SPDX-License-Identifier: Apache-2.0
# How everything in this tree is compiled: language, warnings, instrumentation.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)

if(PROJECT_IS_TOP_LEVEL)
    set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
    if(NOT CMAKE_BUILD_TYPE)
        set(CMAKE_BUILD_TYPE RelWithDebInfo)
    endif()
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion)
# Where several sources are compiled as one, what is local to one seems to shadow what is local to another.
if(CMAKE_UNITY_BUILD)
    add_compile_options(-Wno-shadow)
endif()
if(NUVDDS_WERROR)
    add_compile_options(-Werror)
endif()

if(NUVDDS_SANITIZE)
    list(JOIN NUVDDS_SANITIZE "," sanitizers)
    add_compile_options(-fsanitize=${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${sanitizers})
endif()

# nuvdds_guide_fuzzing(TARGET)
#
# Where there are fuzz targets, TARGET tells them which of its branches an input takes. Other
# programs link it all the same: the address sanitizer brings what it calls.
function(nuvdds_guide_fuzzing target)
    if(NUVDDS_FUZZ AND NUVDDS_TESTS)
        # Beside tests they make a moment's tries that compare nothing: what it takes to note all
        # comparisons would be compiled and run through by everything else there.
        target_compile_options(${target} PRIVATE -fsanitize-coverage=inline-8bit-counters,pc-table)
    elseif(NUVDDS_FUZZ)
        target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
    endif()
endfunction()

if(NUVDDS_COVERAGE)
    add_compile_options(--coverage -fprofile-update=atomic)
    add_link_options(--coverage)
endif()
