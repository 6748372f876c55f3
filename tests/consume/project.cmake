# SPDX-License-Identifier: Apache-2.0
# A CMake project of another's: configured, built, run.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)

run(${CMAKE_COMMAND} -S ${CMAKE_CURRENT_LIST_DIR}/${PROJECT} -B ${BUILD} -G ${GENERATOR}
    -D CMAKE_C_COMPILER=${C_COMPILER} -D CMAKE_CXX_COMPILER=${CXX_COMPILER}
    -D CMAKE_PREFIX_PATH=${PREFIX} -D SOURCE_ROOT=${SOURCE_ROOT}
    -D LANGUAGES=${LANGUAGES} -D EXAMPLE_C=${example_C} -D EXAMPLE_CXX=${example_CXX}
)
run(${CMAKE_COMMAND} --build ${BUILD} --parallel 2)
file(GLOB programs ${BUILD}/program_*)
if(NOT programs)
    message(FATAL_ERROR "there is no program in ${BUILD}")
endif()
foreach(program IN LISTS programs)
    run_program(${program})
endforeach()
