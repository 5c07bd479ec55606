# Common headers are compiled once for all rooms and once for all tests: reading them is most of a build's time.
# Not with another compiler launcher than that of CompilerCache.cmake, which may not know precompiled headers.
option(VEYRIN_PRECOMPILED_HEADERS "Compile common headers once" ON)

# veyrin_precompile(target LINKS ... HEADERS ...): an object library of nothing but precompiled headers, made with the options
# of LINKS.
function(veyrin_precompile target)
  cmake_parse_arguments(COMMON "" "" "LINKS;HEADERS" ${ARGN})
  if(NOT VEYRIN_PRECOMPILED_HEADERS OR (CMAKE_CXX_COMPILER_LAUNCHER AND NOT VEYRIN_CCACHE_USED))
    return()
  endif()
  file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/nothing.cpp CONTENT "")
  add_library(${target} OBJECT ${CMAKE_CURRENT_BINARY_DIR}/nothing.cpp)
  target_link_libraries(${target} PRIVATE ${COMMON_LINKS})
  target_precompile_headers(${target} PRIVATE ${COMMON_HEADERS})
  veyrin_share_precompiled(${target})
endfunction()

# veyrin_use_precompiled(target headers): `target`, which has the same options, takes the headers of that library, if it is there.
function(veyrin_use_precompiled target headers)
  if(TARGET ${headers})
    target_precompile_headers(${target} REUSE_FROM ${headers})
  endif()
endfunction()
