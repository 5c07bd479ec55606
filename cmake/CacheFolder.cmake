# The folder that the set-up scripts fill, too.
if(DEFINED ENV{XDG_CACHE_HOME} AND NOT "$ENV{XDG_CACHE_HOME}" STREQUAL "")
  set(VEYRIN_CACHE_DIR $ENV{XDG_CACHE_HOME}/veyrin)
else()
  set(VEYRIN_CACHE_DIR $ENV{HOME}/.cache/veyrin)
endif()
