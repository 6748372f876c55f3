# SPDX-License-Identifier: Apache-2.0
# Doxygen makes the reference of the interface and has nothing to object to.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)

run(${CMAKE_COMMAND} --build ${BUILD_ROOT} --target docs)
