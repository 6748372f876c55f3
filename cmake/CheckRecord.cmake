# SPDX-License-Identifier: Apache-2.0
# Fails when something other than the presentation half and its tests touches a field of its record
# that is its own: one whose name begins with "_". The names are read from the record's declaration.
#
# cmake -D ROOT=<source tree> -P CheckRecord.cmake

cmake_minimum_required(VERSION 3.25)

set(domain ${ROOT}/dds_c.1.0/srcC/domain)
file(READ ${domain}/domain_internal.h header)
string(REGEX REPLACE "[;[]" "=" header "${header}") # which would be special in a list
set(fields "")
foreach(record IN ITEMS EntryportSet "")
    string(REGEX MATCH "struct DDS_DomainParticipantPresentation${record} {[^}]*}" declaration "${header}")
    string(REGEX MATCHALL "[ *]_[A-Za-z]+=" names "${declaration}")
    foreach(name IN LISTS names)
        string(REGEX REPLACE "[^_A-Za-z]" "" name "${name}")
        list(APPEND fields ${name})
    endforeach()
endforeach()
list(LENGTH fields count)
if(count LESS 19)
    message(FATAL_ERROR "${domain}/domain_internal.h: only ${count} fields of the record were found")
endif()
list(JOIN fields "|" any)

set(wrong 0)
file(GLOB_RECURSE files ${ROOT}/dds_c.1.0/*.h ${ROOT}/dds_c.1.0/*.cpp ${ROOT}/lower/*.h
     ${ROOT}/lower/*.cpp ${ROOT}/tools/*.h ${ROOT}/tools/*.cpp ${ROOT}/examples/*.c
     ${ROOT}/examples/*.cpp ${ROOT}/bench/*.h ${ROOT}/bench/*.cpp)
list(REMOVE_ITEM files ${domain}/DomainParticipantPresentation.cpp)
foreach(file IN LISTS files)
    file(STRINGS ${file} lines REGEX "(\\.|->)(${any})([^_A-Za-z0-9]|$)")
    foreach(line IN LISTS lines)
        message("${file}: ${line}: a field of the presentation half's own")
        math(EXPR wrong "${wrong} + 1")
    endforeach()
endforeach()

if(wrong)
    message(FATAL_ERROR "${wrong} line(s) touch the record")
endif()
