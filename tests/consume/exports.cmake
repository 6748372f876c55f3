# SPDX-License-Identifier: Apache-2.0
# The names that the shared library shows are those of the functions that its headers declare.
include(${CMAKE_CURRENT_LIST_DIR}/common.cmake)

# names_of(VARIABLE REGEX COMMAND...): the names with which matches in its output begin, once each.
function(names_of variable regex)
    execute_process(COMMAND ${ARGN} OUTPUT_VARIABLE text COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX MATCHALL "${regex}" names "${text}")
    list(TRANSFORM names REPLACE "[^A-Za-z0-9_].*" "")
    list(REMOVE_DUPLICATES names)
    list(SORT names)
    set(${variable} ${names} PARENT_SCOPE)
endfunction()

file(WRITE ${BUILD}/all.c "#include <dds_c/dds_c.h>\n")
names_of(declared "(DDS|KOLS)_[A-Za-z0-9_]+\\("
    ${compiler_C} -E -I ${PREFIX}/${INCLUDEDIR} ${BUILD}/all.c)
names_of(exported "[^\n]+\n"
    nm --dynamic --defined-only --format=just-symbols ${PREFIX}/${LIBDIR}/libnuvdds.so)
list(FILTER exported EXCLUDE REGEX "^NUVDDS_[0-9]+$") # the name of the version of all the others
if(NOT exported STREQUAL declared)
    message(FATAL_ERROR "exported: ${exported}\ndeclared: ${declared}")
endif()
