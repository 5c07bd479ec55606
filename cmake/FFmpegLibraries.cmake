# The target `ffmpeg`: the FFmpeg libraries as pkg-config tells of them, from the first of these places that has them:
# VEYRIN_FFMPEG_PREFIX, if it is set; the cache that the set-up scripts fill; the system's folders. A cross-compiled program
# takes nothing from the system's.
# Sets VEYRIN_FFMPEG_PREFIX to the prefix found, VEYRIN_FFMPEG_INCLUDE_DIR, and VEYRIN_FFMPEG_PRIVATE, which tells whether
# the libraries have to come with the program.
find_package(PkgConfig REQUIRED)
string(TOLOWER ${CMAKE_SYSTEM_NAME} system)
set(VEYRIN_FFMPEG_PREFIX "" CACHE PATH
  "Install prefix of FFmpeg 8 or newer (folders include and lib, for Windows also bin); empty: the set-up's or the system's")

# Those of FFmpeg 8.0.
set(ffmpeg_libraries avformat avcodec swscale swresample avutil)
set(least_avformat 62.3)
set(least_avcodec 62.11)
set(least_swscale 9.1)
set(least_swresample 6.1)
set(least_avutil 60.8)

# ask_pkg_config(result package words...): its answer, empty when it has none. It looks in ffmpeg_folders, or, when these are
# empty, where it always looks.
function(ask_pkg_config result package)
  set(environment)
  if(ffmpeg_folders)
    list(JOIN ffmpeg_folders ":" folders)
    set(environment ${CMAKE_COMMAND} -E env --unset=PKG_CONFIG_PATH PKG_CONFIG_LIBDIR=${folders})
  endif()
  execute_process(COMMAND ${environment} ${PKG_CONFIG_EXECUTABLE} ${ARGN} lib${package}
    OUTPUT_VARIABLE answer OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  set(${result} "${answer}" PARENT_SCOPE)
endfunction()

# look_for_ffmpeg(place prefix): sets ffmpeg_found and ffmpeg_folders, or adds a line to ffmpeg_reasons. `prefix` is empty for
# the system's folders.
function(look_for_ffmpeg place prefix)
  set(ffmpeg_folders)
  if(prefix)
    foreach(folder lib lib64 lib/${CMAKE_LIBRARY_ARCHITECTURE})
      list(APPEND ffmpeg_folders ${prefix}/${folder}/pkgconfig)
    endforeach()
  endif()
  set(unfit)
  foreach(library IN LISTS ffmpeg_libraries)
    ask_pkg_config(version ${library} --modversion)
    if(NOT version)
      list(APPEND unfit "no lib${library}.pc")
    elseif(version VERSION_LESS least_${library})
      list(APPEND unfit "lib${library} is ${version}, not ${least_${library}} or newer")
    endif()
  endforeach()
  if(unfit)
    list(LENGTH unfit count)
    if(count EQUAL 5 AND NOT unfit MATCHES " is ")
      set(unfit "not there")
    endif()
    list(JOIN unfit ", " unfit)
    set(ffmpeg_reasons "${ffmpeg_reasons}\n  ${place}: ${unfit}" PARENT_SCOPE)
  else()
    set(ffmpeg_found TRUE PARENT_SCOPE)
    set(ffmpeg_folders ${ffmpeg_folders} PARENT_SCOPE)
  endif()
endfunction()

set(ffmpeg_found FALSE)
set(ffmpeg_reasons)
if(VEYRIN_FFMPEG_PREFIX)
  look_for_ffmpeg("VEYRIN_FFMPEG_PREFIX ${VEYRIN_FFMPEG_PREFIX}" ${VEYRIN_FFMPEG_PREFIX})
else()
  set(VEYRIN_FFMPEG_PREFIX ${VEYRIN_CACHE_DIR}/ffmpeg-${system})
  look_for_ffmpeg("the set-up's ${VEYRIN_FFMPEG_PREFIX}" ${VEYRIN_FFMPEG_PREFIX})
  if(NOT ffmpeg_found AND NOT CMAKE_CROSSCOMPILING)
    set(VEYRIN_FFMPEG_PREFIX)
    look_for_ffmpeg("the system" "")
  endif()
endif()
if(NOT ffmpeg_found)
  message(FATAL_ERROR "FFmpeg 8 or newer was not found:${ffmpeg_reasons}\n"
    "Run scripts/setup (for Windows scripts/setup-windows), install the development files of FFmpeg 8 or newer, "
    "or set VEYRIN_FFMPEG_PREFIX to a prefix that holds them.")
endif()

# Where the .pc file lies, not what it says: a prefix may have been moved.
ask_pkg_config(ffmpeg_pc_folder avcodec --variable=pcfiledir)
cmake_path(GET ffmpeg_pc_folder PARENT_PATH ffmpeg_library_folder)
ask_pkg_config(ffmpeg_version avcodec --modversion)
ask_pkg_config(includes avcodec --variable=includedir)
if(NOT VEYRIN_FFMPEG_PREFIX)
  ask_pkg_config(VEYRIN_FFMPEG_PREFIX avcodec --variable=prefix)
endif()
find_path(VEYRIN_FFMPEG_INCLUDE_DIR libavcodec/avcodec.h REQUIRED NO_CACHE NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH
  PATHS ${VEYRIN_FFMPEG_PREFIX}/include ${VEYRIN_FFMPEG_PREFIX}/include/${CMAKE_LIBRARY_ARCHITECTURE} ${includes})

add_library(ffmpeg INTERFACE)
target_include_directories(ffmpeg SYSTEM INTERFACE ${VEYRIN_FFMPEG_INCLUDE_DIR})
set(ffmpeg_link_libraries)
foreach(library IN LISTS ffmpeg_libraries)
  find_library(file ${library} PATHS ${ffmpeg_library_folder} REQUIRED NO_CACHE NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  list(APPEND ffmpeg_link_libraries ${file})
  unset(file)
endforeach()
target_link_libraries(ffmpeg INTERFACE ${ffmpeg_link_libraries})
message(STATUS "FFmpeg: libavcodec ${ffmpeg_version} in ${ffmpeg_library_folder}")

set(VEYRIN_FFMPEG_PRIVATE TRUE)
if(ffmpeg_library_folder IN_LIST CMAKE_C_IMPLICIT_LINK_DIRECTORIES)
  set(VEYRIN_FFMPEG_PRIVATE FALSE)
endif()

# Copies of an earlier configuration must not be found any more.
file(GLOB earlier_copies ${PROJECT_BINARY_DIR}/lib/libav*.so* ${PROJECT_BINARY_DIR}/lib/libsw*.so*)
if(WIN32)
  # Windows searches for DLLs beside the program first.
  file(GLOB ffmpeg_dlls ${VEYRIN_FFMPEG_PREFIX}/bin/*.dll)
  file(COPY ${ffmpeg_dlls} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
elseif(VEYRIN_FFMPEG_PRIVATE)
  # The libraries are in a folder lib beside the program's folder. RPATH, not RUNPATH, because it also applies to the
  # libraries that they load in turn.
  list(TRANSFORM ffmpeg_libraries REPLACE "(.+)" "${ffmpeg_library_folder}/lib\\1.so*" OUTPUT_VARIABLE patterns)
  file(GLOB ffmpeg_shared_objects ${patterns})
  file(COPY ${ffmpeg_shared_objects} DESTINATION ${PROJECT_BINARY_DIR}/lib)
  set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
  set(CMAKE_INSTALL_RPATH "$ORIGIN/../lib")
  if(NOT ffmpeg_library_folder MATCHES "^${VEYRIN_CACHE_DIR}/")
    # Another build may need more libraries of its own prefix.
    list(APPEND CMAKE_INSTALL_RPATH ${ffmpeg_library_folder})
  endif()
  add_link_options(-Wl,--disable-new-dtags)
elseif(earlier_copies)
  file(REMOVE ${earlier_copies})
endif()

include(FFmpegFeatures)
