# veyrin_room(name SOURCES ... LINKS ...): one static library per folder; LINKS are the rooms and libraries below.
function(veyrin_room name)
  cmake_parse_arguments(ROOM "" "" "SOURCES;LINKS" ${ARGN})
  add_library(veyrin_${name} STATIC ${ROOM_SOURCES})
  target_include_directories(veyrin_${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(veyrin_${name} PUBLIC ${ROOM_LINKS} PRIVATE veyrin_settings)
endfunction()

# veyrin_test(name SOURCES ... LINKS ...): one GoogleTest program whose cases are listed one by one.
function(veyrin_test name)
  cmake_parse_arguments(TEST "" "" "SOURCES;LINKS" ${ARGN})
  add_executable(${name} ${TEST_SOURCES})
  target_link_libraries(${name} PRIVATE ${TEST_LINKS} GTest::gtest_main GTest::gmock veyrin_settings)
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT 300)
endfunction()
