# SPDX-License-Identifier: Apache-2.0
# The binary interface of the shared library is the one that is recorded. With -D RECORD=ON it is
# recorded (scripts/abi --record).
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)

set(recorded ${SOURCE_ROOT}/packaging/nuvdds.abi)
set(library ${BUILD_ROOT}/dds_c.1.0/libnuvdds.so)
set(headers ${SOURCE_ROOT}/dds_c.1.0/include)
set(found ${BUILD}/nuvdds.abi)

# What no header declares is nobody else's business; where it is declared may change.
run(abidw --headers-dir ${headers} --drop-private-types --exported-interfaces-only --no-show-locs
    --no-comp-dir-path --no-corpus-path --no-elf-needed --out-file ${found} ${library})
if(RECORD)
    file(COPY_FILE ${found} ${recorded})
    return()
endif()
execute_process(COMMAND abidiff ${recorded} ${found} RESULT_VARIABLE result OUTPUT_VARIABLE output)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "${output}The interface has changed. If it should: scripts/abi --record, "
        "and where programs have to be built again, raise NUVDDS_INTERFACE_VERSION.")
endif()
