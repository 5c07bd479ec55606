# What cpack reads before it packs. Stripping writes the time into a program; with one for all, the ZIP and the installer hold
# the same bytes. scripts/release says another time: that of the commit.
if("$ENV{SOURCE_DATE_EPOCH}" STREQUAL "")
  set(ENV{SOURCE_DATE_EPOCH} ${CPACK_VEYRIN_CONFIGURED_AT})
endif()
