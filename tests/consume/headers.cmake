# SPDX-License-Identifier: Apache-2.0
# Each installed header on its own, twice, with no include directory but the installed one.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)

file(GLOB headers RELATIVE ${PREFIX}/${INCLUDEDIR} ${PREFIX}/${INCLUDEDIR}/*/*.h)
list(LENGTH headers count)
file(GLOB public_headers ${SOURCE_ROOT}/dds_c.1.0/include/dds_c/*.h)
list(LENGTH public_headers public_count)
if(NOT count EQUAL public_count)
    message(FATAL_ERROR "${count} headers of ${public_count} are installed: ${headers}")
endif()
set(source ${BUILD}/alone.${suffix_${LANGUAGES}})
foreach(header IN LISTS headers)
    file(WRITE ${source} "#include <${header}>\n#include <${header}>\nextern int nothing_else;\n")
    run(${compiler_${LANGUAGES}} ${warnings} -fsyntax-only -I ${PREFIX}/${INCLUDEDIR} ${source})
endforeach()
