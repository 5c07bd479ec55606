# The sanitizers' build and that for Windows read every header anew, so that a source which does not include what it
# uses fails there.
if(NOT VEYRIN_COVERAGE AND NOT VEYRIN_FUZZ AND NOT WIN32)
  veyrin_precompile(veyrin_room_headers
    LINKS veyrin_room_settings
    HEADERS <algorithm> <array> <cmath> <cstdint> <cstring> <filesystem> <fstream> <functional> <memory> <optional> <span>
      <string> <string_view> <system_error> <utility> <variant> <vector>)
endif()

# veyrin_room(name SOURCES ... LINKS ...): the static library of a room; LINKS are the rooms and libraries below it.
function(veyrin_room name)
  cmake_parse_arguments(ROOM "" "" "SOURCES;LINKS" ${ARGN})
  add_library(veyrin_${name} STATIC ${ROOM_SOURCES})
  target_include_directories(veyrin_${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(veyrin_${name} PUBLIC ${ROOM_LINKS} PRIVATE veyrin_room_settings)
  veyrin_use_precompiled(veyrin_${name} veyrin_room_headers)
endfunction()

# veyrin_program(name SOURCES ... LINKS ...): one executable.
function(veyrin_program name)
  cmake_parse_arguments(PROGRAM "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${name} ${PROGRAM_SOURCES})
  target_link_libraries(${name} PRIVATE ${PROGRAM_LINKS} veyrin_settings)
  if(WIN32)
    # The manifest: arguments and file names in UTF-8, paths of any length.
    target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/windows/program.rc)
  endif()
endfunction()

# Only the rooms have to be fast; optimising the tests would mostly optimise GoogleTest's templates.
function(veyrin_test_options target)
  target_compile_options(${target} PRIVATE -O0)
endfunction()

# veyrin_test(name SOURCES ... HOST ... WIN32 ... LINKS ...): one GoogleTest program. HOST sources need OpenCV, POSIX
# calls or the shell and are left out when cross-compiling. WIN32 sources are for Windows only.
# CTest lists each case, but a cross-compiled program is a single entry: starting Wine takes longer than most cases.
function(veyrin_test name)
  cmake_parse_arguments(TEST "" "" "SOURCES;HOST;WIN32;LINKS" ${ARGN})
  if(NOT CMAKE_CROSSCOMPILING)
    list(APPEND TEST_SOURCES ${TEST_HOST})
  endif()
  if(WIN32)
    list(APPEND TEST_SOURCES ${TEST_WIN32})
  endif()
  veyrin_program(${name} SOURCES ${TEST_SOURCES}
    LINKS ${TEST_LINKS} veyrin_test_support GTest::gtest_main GTest::gmock)
  veyrin_test_options(${name})
  veyrin_use_precompiled(${name} veyrin_test_headers)
  if(CMAKE_CROSSCOMPILING)
    # The report has no folder in its name: a path of this system is not absolute to the Windows program.
    add_test(NAME ${name} COMMAND ${name} --gtest_output=xml:${name}.xml
      WORKING_DIRECTORY ${PROJECT_BINARY_DIR}/gtest)
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/gtest)
    set_tests_properties(${name} PROPERTIES TIMEOUT 600)
  else()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
  endif()
endfunction()
