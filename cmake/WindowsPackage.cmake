# `cpack` in the build folder makes a ZIP to be unpacked and run anywhere: programs, DLLs, licences, README; and, where
# NSIS is, an installer of the same files (installer/NSIS.template.in).
install(TARGETS veyrin-video-converter veyrin-join veyrin-path-entry RUNTIME DESTINATION .)
install(FILES ${ffmpeg_dlls} DESTINATION .)
install(FILES ${PROJECT_SOURCE_DIR}/cmake/windows/README.txt DESTINATION .)
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/NOTICE DESTINATION licenses)
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION .)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs DESTINATION .)

# A program under the GPL, beside the converter and not part of it.
if(TARGET veyrin-two-view-encoder)
  install(TARGETS veyrin-two-view-encoder RUNTIME DESTINATION .)
  install(FILES ${PROJECT_SOURCE_DIR}/two_view_encoder/LICENSE DESTINATION licenses RENAME veyrin-two-view-encoder.txt)
  install(FILES ${VEYRIN_X265_PREFIX}/share/licenses/COPYING.x265 DESTINATION licenses)
endif()

# The licences of linked libraries: FFmpeg's are in its prefix, the others in the documentation of their packages.
file(GLOB ffmpeg_licences ${VEYRIN_FFMPEG_PREFIX}/share/licenses/*)
if(ffmpeg_licences)
  install(FILES ${ffmpeg_licences} DESTINATION licenses)
else()
  message(WARNING "${VEYRIN_FFMPEG_PREFIX}/share/licenses is empty: the package will lack FFmpeg's licence")
endif()
set(VEYRIN_PACKAGE_LICENCES /usr/share/doc CACHE PATH "Folder with one folder per package, each with a file copyright")
foreach(package nlohmann-json3-dev libstb-dev libz-mingw-w64-dev mingw-w64-common gcc-mingw-w64-x86-64-posix)
  install(FILES ${VEYRIN_PACKAGE_LICENCES}/${package}/copyright DESTINATION licenses RENAME ${package}.txt)
endforeach()

install(DIRECTORY ${PROJECT_SOURCE_DIR}/library DESTINATION . PATTERN __pycache__ EXCLUDE PATTERN cluster EXCLUDE
  PATTERN profiles EXCLUDE PATTERN Snakefile EXCLUDE)

set(CPACK_GENERATOR ZIP)
find_program(VEYRIN_MAKENSIS makensis)
if(VEYRIN_MAKENSIS)
  list(APPEND CPACK_GENERATOR NSIS)
  list(PREPEND CMAKE_MODULE_PATH ${PROJECT_SOURCE_DIR}/installer)
endif()
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-windows-x64)
set(CPACK_STRIP_FILES ON)
string(TIMESTAMP CPACK_VEYRIN_CONFIGURED_AT %s UTC)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/windows/PackingTime.cmake)
include(CPack)
