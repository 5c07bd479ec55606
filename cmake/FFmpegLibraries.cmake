# The target `ffmpeg`: the FFmpeg libraries from the cache that the set-up scripts fill, or from any other prefix.
string(TOLOWER ${CMAKE_SYSTEM_NAME} system)
set(VEYRIN_FFMPEG_PREFIX ${VEYRIN_CACHE_DIR}/ffmpeg-${system} CACHE PATH
  "Install prefix of FFmpeg 8 or newer (folders include and lib, for Windows also bin)")

if(NOT EXISTS ${VEYRIN_FFMPEG_PREFIX}/include/libavcodec/avcodec.h)
  message(FATAL_ERROR "FFmpeg was not found in ${VEYRIN_FFMPEG_PREFIX}: "
    "run scripts/setup (for Windows scripts/setup-windows), "
    "or set VEYRIN_FFMPEG_PREFIX to a prefix that holds FFmpeg 8 or newer")
endif()

add_library(ffmpeg INTERFACE)
target_include_directories(ffmpeg SYSTEM INTERFACE ${VEYRIN_FFMPEG_PREFIX}/include)
foreach(library avformat avcodec swscale swresample avutil)
  find_library(VEYRIN_LIB_${library} ${library} PATHS ${VEYRIN_FFMPEG_PREFIX}/lib REQUIRED
    NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  mark_as_advanced(VEYRIN_LIB_${library})
  target_link_libraries(ffmpeg INTERFACE ${VEYRIN_LIB_${library}})
endforeach()

if(WIN32)
  # Windows searches for DLLs beside the program first.
  file(GLOB ffmpeg_dlls ${VEYRIN_FFMPEG_PREFIX}/bin/*.dll)
  file(COPY ${ffmpeg_dlls} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
else()
  # The libraries are in a folder lib beside the program's folder. RPATH, not RUNPATH, because it also applies to the
  # libraries that they load in turn.
  file(GLOB ffmpeg_shared_objects ${VEYRIN_FFMPEG_PREFIX}/lib/lib*.so*)
  file(COPY ${ffmpeg_shared_objects} DESTINATION ${PROJECT_BINARY_DIR}/lib)
  set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)
  set(CMAKE_INSTALL_RPATH "$ORIGIN/../lib")
  add_link_options(-Wl,--disable-new-dtags)
endif()
