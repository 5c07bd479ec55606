# Warnings and sanitizers of all our own code, and what the rooms alone are instrumented with.
add_library(veyrin_settings INTERFACE)
target_compile_options(veyrin_settings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion -Wnon-virtual-dtor -Wold-style-cast
  -Woverloaded-virtual -Wcast-align -Wformat=2 -Wnull-dereference)
# Newer compilers than those that every landing is built with warn of more, which must not keep anybody from building.
set(newer_compiler FALSE)
if((CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 13) OR
   (CMAKE_CXX_COMPILER_ID MATCHES "Clang" AND CMAKE_CXX_COMPILER_VERSION VERSION_GREATER_EQUAL 15))
  set(newer_compiler TRUE)
endif()
if(NOT newer_compiler)
  target_compile_options(veyrin_settings INTERFACE -Werror)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_BUILD_TYPE STREQUAL "Release")
  # GCC 12 reports dereferences inside inlined standard containers that cannot happen.
  target_compile_options(veyrin_settings INTERFACE -Wno-null-dereference)
endif()
if(WIN32)
  # The Windows 10 API, wide characters throughout, and no macros that hide standard functions.
  target_compile_definitions(veyrin_settings INTERFACE _WIN32_WINNT=0x0A00 UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # GCC assumes that the copy of an inline function in this object is the one that is called, and that it knows which
    # registers this copy preserves. The linker may choose one compiled with other options, even the standard library's.
    target_compile_options(veyrin_settings INTERFACE -fno-ipa-ra)
  endif()
endif()
if(VEYRIN_SANITIZE)
  target_compile_options(veyrin_settings INTERFACE -fsanitize=${VEYRIN_SANITIZE} -fno-omit-frame-pointer
    -fno-sanitize-recover=all)
  target_link_options(veyrin_settings INTERFACE -fsanitize=${VEYRIN_SANITIZE})
  # Sanitizer instrumentation makes GCC see paths that do not exist.
  target_compile_options(veyrin_settings INTERFACE -Wno-null-dereference)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(veyrin_settings INTERFACE -Wno-maybe-uninitialized)
  else()
    # The driver's functions are called through types of our own.
    target_compile_options(veyrin_settings INTERFACE -fno-sanitize=function)
  endif()
endif()

add_library(veyrin_room_settings INTERFACE)
target_link_libraries(veyrin_room_settings INTERFACE veyrin_settings)
if(VEYRIN_COVERAGE)
  # Tests are not measured, and instrumenting them would take longer than compiling them.
  # ccache does not know the second option of clang's driver, only that of the compiler behind it.
  target_compile_options(veyrin_room_settings INTERFACE --coverage
    $<IF:$<CXX_COMPILER_ID:GNU>,-fprofile-update=atomic,SHELL:-Xclang -fprofile-update=atomic>)
  # Counters carry the name of the target's folder, so that a result is that target's alone.
  target_compile_definitions(veyrin_room_settings INTERFACE VEYRIN_COUNTED_IN=$<TARGET_PROPERTY:NAME>)
  target_link_options(veyrin_settings INTERFACE --coverage)
endif()
if(VEYRIN_FUZZ)
  # Tells libFuzzer which branches of the rooms an input reaches.
  target_compile_options(veyrin_room_settings INTERFACE -fsanitize=fuzzer-no-link)
endif()
