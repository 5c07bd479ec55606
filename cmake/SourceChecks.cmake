# scripts/check-sources as a step of the build: it runs again when a source of the product or of the tests has changed.
# The system's Python, which has the packages that the tests use; another one earlier on PATH may lack them.
find_program(VEYRIN_PYTHON python3 PATHS /usr/bin NO_DEFAULT_PATH REQUIRED)

set(checked_sources)
foreach(folder IN LISTS rooms ITEMS two_view_encoder tests)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/${folder}/*.h ${PROJECT_SOURCE_DIR}/${folder}/*.cpp)
  list(APPEND checked_sources ${sources})
endforeach()
set(check_script ${PROJECT_SOURCE_DIR}/scripts/check-sources)
set(stamp ${PROJECT_BINARY_DIR}/sources_checked)
add_custom_command(OUTPUT ${stamp}
  COMMAND ${VEYRIN_PYTHON} ${check_script} --stamp ${stamp} ${PROJECT_SOURCE_DIR}
  DEPENDS ${check_script} ${checked_sources}
  COMMENT "Checking sources for what the compiler does not"
  VERBATIM)
add_custom_target(check_sources ALL DEPENDS ${stamp})
