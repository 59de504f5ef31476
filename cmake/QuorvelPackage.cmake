# The Debian package, as `cpack` makes it; scripts/run --package is the way to call it, since the
# compiler flags and the dates come from there.

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME quorvel)
set(CPACK_PACKAGE_VENDOR "The Quorvel developers")
set(CPACK_PACKAGE_CONTACT "The Quorvel developers <maintainers@quorvel.example>")
set(CPACK_PACKAGE_HOMEPAGE_URL "${QUORVEL_WEB_SITE}/")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "find duplicate audio files by how they sound")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
"Quorvel searches folders for audio and media files and finds those that hold
the same recording, whatever their names, tags or formats: it compares acoustic
fingerprints. A FLAC and an MP3 of one song are found, at any bit rate, sample
rate or number of channels.
.
The files of one group of folders are compared with those of another, or all
files of one group with each other. Each file that was found can be listened
to, and what is ticked is deleted, moved or copied, without ever overwriting a
file.
.
The program quorvel-cli does the same search without a window and writes the
result as text, JSON or CSV.")

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_SECTION sound)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)

# What is linked is found by itself. What is loaded at run time is not: without the driver there is no
# store of fingerprints.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "libqt6sql6-sqlite")
# To start on Wayland without X; to open folders and pages. A font comes with fontconfig.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "qt6-wayland, xdg-utils")
# What divides a search among machines.
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "parallel, slurm-client")
# Qt before 6.5 plays through GStreamer, without whose base plugins its player crashes; the others
# are to hear what was found, in every format and through the sound server. Later ones play through
# FFmpeg, which is linked.
if(Qt6Multimedia_VERSION VERSION_LESS 6.5)
    string(PREPEND CPACK_DEBIAN_PACKAGE_DEPENDS "gstreamer1.0-plugins-base, ")
    string(PREPEND CPACK_DEBIAN_PACKAGE_RECOMMENDS
        "gstreamer1.0-plugins-good, gstreamer1.0-libav, gstreamer1.0-plugins-ugly, ")
endif()

set(CPACK_PRE_BUILD_SCRIPTS "${CMAKE_CURRENT_LIST_DIR}/QuorvelDebianFiles.cmake")

include(CPack)
