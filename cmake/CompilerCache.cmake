# Compilations are taken from ccache's folder in the cache when ccache is installed and no launcher is chosen otherwise.
# Names below the clone are made relative, so that clones in different folders share results. The working folder counts
# where the result holds it: in debug information and in the names of coverage counters.
option(VEYRIN_COMPILER_CACHE "Take compilations from ccache when it is installed" ON)
find_program(VEYRIN_CCACHE ccache)
mark_as_advanced(VEYRIN_CCACHE)
set(VEYRIN_CCACHE_USED FALSE)
if(VEYRIN_COMPILER_CACHE AND VEYRIN_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(VEYRIN_CCACHE_USED TRUE)
  set(settings ${PROJECT_BINARY_DIR}/ccache.conf)
  file(CONFIGURE OUTPUT ${settings} @ONLY CONTENT
"cache_dir = @VEYRIN_CACHE_DIR@/ccache
max_size = 3G
base_dir = @PROJECT_SOURCE_DIR@
absolute_paths_in_stderr = true
pch_external_checksum = true
sloppiness = pch_defines,time_macros,include_file_mtime,include_file_ctime
")
  set(CMAKE_C_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_CONFIGPATH=${settings} ${VEYRIN_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_C_COMPILER_LAUNCHER})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Or ccache does not see which precompiled headers a source uses.
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fpch-preprocess>)
  else()
    # What CMake passes on behind -Xclang is not made relative.
    set(CMAKE_CXX_COMPILE_OPTIONS_USE_PCH -include <PCH_HEADER>)
  endif()
  if(VEYRIN_SANITIZE)
    # The sanitizers' reports name sources relative to the clone, wherever that was.
    add_compile_options(-fdebug-prefix-map=${PROJECT_SOURCE_DIR}=.)
  endif()
endif()

# veyrin_share_precompiled(target): lets sources that use the target's precompiled headers be found from every clone.
# clang writes absolute names into a precompiled header, so that it is made anew in each clone. The sources that use it
# depend on all headers in it by their contents, which leaves the list of headers to be told.
function(veyrin_share_precompiled target)
  if(VEYRIN_CCACHE_USED AND CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    set_target_properties(${target} PROPERTIES CXX_COMPILER_LAUNCHER "")
    get_target_property(headers ${target} PRECOMPILE_HEADERS)
    file(CONFIGURE OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${target}.dir/cmake_pch.hxx.pch.sum
      CONTENT "@headers@\n" @ONLY)
  endif()
endfunction()
