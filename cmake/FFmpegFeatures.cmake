# What the FFmpeg libraries that were found can do, asked of them while configuring.
# Sets VEYRIN_FFMPEG_TWO_VIEWS (hevc_nvenc has the two-view profile; "unknown" when cross-compiling) and
# VEYRIN_FFMPEG_TWO_VIEWS_IN_10_BITS (our change for that is in it).
set(features ${CMAKE_CURRENT_LIST_DIR}/features)

# asked_of_ffmpeg(result source words...): whether the C source compiles and links; `words` are further ones for try_compile.
# Sets RESULT_output to what the compiler said.
function(asked_of_ffmpeg result source)
  unset(answer CACHE)
  try_compile(answer ${PROJECT_BINARY_DIR}/features ${features}/${source} ${ARGN} OUTPUT_VARIABLE output
    CMAKE_FLAGS -DINCLUDE_DIRECTORIES=${VEYRIN_FFMPEG_INCLUDE_DIR}
    LINK_LIBRARIES ${ffmpeg_link_libraries})
  set(${result} ${answer} PARENT_SCOPE)
  set(${result}_output "${output}" PARENT_SCOPE)
  unset(answer CACHE)
endfunction()

asked_of_ffmpeg(linked reference_displays.c)
if(NOT linked)
  message(FATAL_ERROR "FFmpeg in ${VEYRIN_FFMPEG_PREFIX} has no 3-D reference displays, which spatial movies carry "
    "(libavutil/tdrdi.h), or cannot be linked:\n${linked_output}")
endif()

set(VEYRIN_FFMPEG_TWO_VIEWS unknown)
if(NOT CMAKE_CROSSCOMPILING)
  set(program ${PROJECT_BINARY_DIR}/features/two_views)
  asked_of_ffmpeg(linked two_views.c COPY_FILE ${program})
  execute_process(COMMAND ${CMAKE_COMMAND} -E env "LD_LIBRARY_PATH=${ffmpeg_library_folder}:$ENV{LD_LIBRARY_PATH}" ${program}
    RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET)
  if(status EQUAL 0)
    set(VEYRIN_FFMPEG_TWO_VIEWS yes)
  else()
    set(VEYRIN_FFMPEG_TWO_VIEWS no)
  endif()
endif()

# The set-up tells what it has changed; nothing else has this change.
set(VEYRIN_FFMPEG_TWO_VIEWS_IN_10_BITS no)
if(EXISTS ${VEYRIN_FFMPEG_PREFIX}/.complete)
  set(VEYRIN_FFMPEG_TWO_VIEWS_IN_10_BITS yes)
  if(EXISTS ${VEYRIN_FFMPEG_PREFIX}/left-out-patches)
    file(STRINGS ${VEYRIN_FFMPEG_PREFIX}/left-out-patches left_out)
    if("ffmpeg-mv-hevc-10-bit.patch" IN_LIST left_out)
      set(VEYRIN_FFMPEG_TWO_VIEWS_IN_10_BITS no)
    endif()
  endif()
endif()

message(STATUS "FFmpeg: 3-D reference displays: yes")
message(STATUS "FFmpeg: hevc_nvenc with two views: ${VEYRIN_FFMPEG_TWO_VIEWS}, changed for 10 bits: "
  "${VEYRIN_FFMPEG_TWO_VIEWS_IN_10_BITS}")
