# The target `x265`, for two views in 8 and 10 bits, from the cache that the set-up scripts fill. Under the GPL: only for
# programs of their own and for tests. VEYRIN_X265_FOUND tells whether it is there.
set(VEYRIN_X265_PREFIX ${VEYRIN_CACHE_DIR}/x265-${system} CACHE PATH
  "Install prefix of x265 with two views (scripts/setup-x265)")

set(VEYRIN_X265_FOUND FALSE)
if(EXISTS ${VEYRIN_X265_PREFIX}/lib/libx265.a AND EXISTS ${VEYRIN_X265_PREFIX}/lib/libx265_main10.a)
  set(VEYRIN_X265_FOUND TRUE)
  add_library(x265 INTERFACE)
  target_include_directories(x265 SYSTEM INTERFACE ${VEYRIN_X265_PREFIX}/include)
  target_link_libraries(x265 INTERFACE
    ${VEYRIN_X265_PREFIX}/lib/libx265.a ${VEYRIN_X265_PREFIX}/lib/libx265_main10.a)
endif()
