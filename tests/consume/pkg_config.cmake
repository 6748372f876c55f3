# SPDX-License-Identifier: Apache-2.0
# A compiler's command line with what pkg-config says.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)

set(ENV{PKG_CONFIG_PATH} ${PREFIX}/${LIBDIR}/pkgconfig)
if(KIND STREQUAL "static")
    set(static --static)
endif()
execute_process(COMMAND pkg-config --cflags --libs ${static} nuvdds
    OUTPUT_VARIABLE flags OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
if(KIND STREQUAL "static")
    string(REPLACE "-lnuvdds" "-l:libnuvdds.a" flags "${flags}")
endif()
separate_arguments(flags)

run(${compiler_${LANGUAGES}} ${warnings} ${example_${LANGUAGES}} -o ${BUILD}/program
    ${flags} -Wl,-rpath,${PREFIX}/${LIBDIR})
run_program(${BUILD}/program)
