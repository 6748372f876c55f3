# SPDX-License-Identifier: Apache-2.0
# Into an empty prefix; all that is installed refers to what is there.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)

file(REMOVE_RECURSE ${PREFIX})
run(${CMAKE_COMMAND} --install ${BUILD_ROOT} --prefix ${PREFIX})

foreach(file IN ITEMS
    bin/ddspart bin/ddssim ${INCLUDEDIR}/dds_c/dds_c.h
    ${LIBDIR}/libnuvdds.a ${LIBDIR}/libnuvdds.so ${LIBDIR}/libnuvdds.so.0
    ${LIBDIR}/cmake/nuvdds/nuvddsConfig.cmake ${LIBDIR}/pkgconfig/nuvdds.pc
    share/bash-completion/completions/ddspart share/bash-completion/completions/ddssim
    share/doc/nuvdds/README.md share/doc/nuvdds/examples/quickstart.c
    share/man/man1/ddspart.1 share/man/man1/ddspart-run.1 share/man/man1/ddspart-list.1
    share/man/man1/ddspart-ports.1
    share/man/man1/ddspart-doctor.1 share/man/man1/ddspart-why.1
    share/man/man1/ddssim.1
    share/ddssim/scenarios/robot.yaml
    share/man/man7/nuvdds.7
)
    if(NOT EXISTS ${PREFIX}/${file})
        message(SEND_ERROR "${file} is not installed")
    endif()
endforeach()
