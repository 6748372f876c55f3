# nuvdds_library(NAME INCLUDE_ROOT BELOW SOURCE...)
#
# The static library nuvdds_NAME, alias nuvdds::NAME. Whoever links it sees INCLUDE_ROOT and the
# targets BELOW; it sees nothing above, so that an include that goes up does not compile.
function(nuvdds_library name include_root below)
    add_library(nuvdds_${name} STATIC ${ARGN})
    add_library(nuvdds::${name} ALIAS nuvdds_${name})
    target_include_directories(nuvdds_${name} PUBLIC ${include_root})
    target_link_libraries(nuvdds_${name} PUBLIC ${below})
    target_compile_options(nuvdds_${name} PRIVATE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)
    nuvdds_guide_fuzzing(nuvdds_${name})
endfunction()
