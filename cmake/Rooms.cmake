# veyrin_room(name SOURCES ... LINKS ...): one static library per folder; LINKS are the rooms and libraries below.
function(veyrin_room name)
  cmake_parse_arguments(ROOM "" "" "SOURCES;LINKS" ${ARGN})
  add_library(veyrin_${name} STATIC ${ROOM_SOURCES})
  target_include_directories(veyrin_${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(veyrin_${name} PUBLIC ${ROOM_LINKS} PRIVATE veyrin_room_settings)
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

# The rooms are what has to be fast; most of the build's time would go into optimising GoogleTest's templates.
function(veyrin_test_options target)
  target_compile_options(${target} PRIVATE -O0)
endfunction()

# veyrin_test(name SOURCES ... HOST ... WIN32 ... LINKS ...): one GoogleTest program. HOST sources are left out when
# building for another system: they need OpenCV, POSIX calls or the shell. WIN32 sources are for Windows only.
# The cases are listed one by one; where a program runs under another system's runner, whose start takes longer than
# most cases, it is one entry.
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
  if(TARGET veyrin_test_headers)
    target_precompile_headers(${name} REUSE_FROM veyrin_test_headers)
  endif()
  if(CMAKE_CROSSCOMPILING)
    # The report is named without a folder: a path of this system is not an absolute one for the program.
    add_test(NAME ${name} COMMAND ${name} --gtest_output=xml:${name}.xml
      WORKING_DIRECTORY ${PROJECT_BINARY_DIR}/gtest)
    file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/gtest)
    set_tests_properties(${name} PROPERTIES TIMEOUT 600)
  else()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
  endif()
endfunction()
