# `cmake --install`, and `cpack` for a Debian package and an archive that runs from any folder.
#
# The programs lie in one folder of their own as in the build, because they look for each other beside themselves and for
# the FFmpeg libraries in the folder lib next to theirs. `bin` holds links to those that people start.
set(home lib/${PROJECT_NAME})
set(documents share/doc/${PROJECT_NAME})

# install_link(target link): a symbolic link below the install prefix.
function(install_link target link)
  install(CODE "
    set(link \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${link}\")
    cmake_path(GET link PARENT_PATH folder)
    file(MAKE_DIRECTORY \"\${folder}\")
    file(CREATE_LINK \"${target}\" \"\${link}\" SYMBOLIC)")
endfunction()

install(TARGETS veyrin-video-converter veyrin-join RUNTIME DESTINATION ${home}/bin)
install_link(${VEYRIN_FFMPEG_GPL} ${home}/bin/ffmpeg-gpl)
install_link(../${home}/bin/veyrin-video-converter bin/veyrin-video-converter)
install_link(../${home}/bin/veyrin-join bin/veyrin-join)
if(VEYRIN_FFMPEG_PRIVATE)
  # Not the names that only linking needs.
  set(loaded_libraries ${ffmpeg_shared_objects})
  list(FILTER loaded_libraries INCLUDE REGEX "\\.so\\.[0-9.]+$")
  install(FILES ${loaded_libraries} DESTINATION ${home}/lib)
  file(GLOB ffmpeg_licences ${VEYRIN_FFMPEG_PREFIX}/share/licenses/*)
  install(FILES ${ffmpeg_licences} DESTINATION ${documents}/licenses/ffmpeg)
endif()

# A program under the GPL, beside the converter and not part of it.
if(TARGET veyrin-two-view-encoder)
  install(TARGETS veyrin-two-view-encoder RUNTIME DESTINATION ${home}/bin)
  install(FILES two_view_encoder/LICENSE ${VEYRIN_X265_PREFIX}/share/licenses/COPYING.x265
    DESTINATION ${documents}/licenses/veyrin-two-view-encoder)
endif()

# Headers whose code is in the programs; their licences are in the documentation of Debian's packages.
foreach(package nlohmann-json3-dev libstb-dev)
  if(EXISTS /usr/share/doc/${package}/copyright)
    install(FILES /usr/share/doc/${package}/copyright DESTINATION ${documents}/licenses RENAME ${package}.txt)
  endif()
endforeach()

# Python, the same on every machine.
install(DIRECTORY library/ DESTINATION ${home}/library USE_SOURCE_PERMISSIONS
  PATTERN __pycache__ EXCLUDE PATTERN *.cmd EXCLUDE)
install_link(../${home}/library/veyrin-library bin/veyrin-library)

install(DIRECTORY ${PROJECT_BINARY_DIR}/help/share/ DESTINATION share)
install(FILES README.md CHANGELOG.md CONTRIBUTING.md LICENSE NOTICE DESTINATION ${documents})
install(DIRECTORY docs DESTINATION ${documents})
# The pages link to it there.
install(FILES library/README.md DESTINATION ${documents}/library)
file(READ NOTICE notice)
file(READ LICENSE licence)
file(WRITE ${PROJECT_BINARY_DIR}/copyright "${licence}\n${notice}")
install(FILES ${PROJECT_BINARY_DIR}/copyright DESTINATION ${documents})

set(CPACK_GENERATOR DEB TGZ)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-linux-${CMAKE_SYSTEM_PROCESSOR})
set(CPACK_PACKAGE_CONTACT "the makers of ${PROJECT_NAME}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "converts dual-track stereo fisheye recordings into 3-D movies")
set(CPACK_PACKAGE_DESCRIPTION
"Decodes both eyes of a recording, rectifies them with the calibration in it,
and writes side-by-side, mono or two-view (MV-HEVC) movies with the sound
copied as it is. veyrin-library converts whole folders, on one machine or on
a cluster.")
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_SECTION video)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${ffmpeg_library_folder})
# ffmpeg encodes HEVC in software, Python runs veyrin-library.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "ffmpeg, python3")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS snakemake)
include(CPack)
