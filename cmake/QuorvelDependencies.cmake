# Finds what the project is built on. What is missing is named by the Debian package that has it.

set(qt_modules Core Gui Widgets Concurrent Sql)
if(QUORVEL_CHECK_RACES)
    set(qt_modules Core Gui Widgets Concurrent)
endif()
find_package(Qt6 6.4 QUIET COMPONENTS ${qt_modules})
if(NOT Qt6_FOUND)
    list(JOIN qt_modules ", " names)
    message(FATAL_ERROR
        "Qt 6.4 or newer (${names}) was not found. Install the package qt6-base-dev.")
endif()
if(NOT QUORVEL_CHECK_RACES)
    find_package(Qt6 6.4 QUIET COMPONENTS Multimedia)
endif()
if(NOT Qt6Multimedia_FOUND AND NOT QUORVEL_CHECK_RACES)
    message(FATAL_ERROR
        "Qt Multimedia 6.4 or newer was not found. Install the package qt6-multimedia-dev.")
endif()
if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND NOT QUORVEL_CHECK_RACES)
    find_package(Qt6 6.4 QUIET OPTIONAL_COMPONENTS DBus)
endif()
if(QUORVEL_BUILD_TESTS)
    find_package(Qt6 6.4 QUIET COMPONENTS Test)
    if(NOT Qt6Test_FOUND)
        message(FATAL_ERROR
            "Qt Test 6.4 or newer was not found. Install the package qt6-base-dev, "
            "or configure with -DQUORVEL_BUILD_TESTS=OFF.")
    endif()
endif()

set(THREADS_PREFER_PTHREAD_FLAG ON)
find_package(Threads REQUIRED)

find_package(PkgConfig QUIET)
if(NOT PkgConfig_FOUND)
    message(FATAL_ERROR "pkg-config was not found. Install the package pkg-config.")
endif()

# Finds the pkg-config module(s) of one library as PkgConfig::<prefix>.
function(quorvel_find_module prefix package specification)
    pkg_check_modules(${prefix} QUIET IMPORTED_TARGET GLOBAL "${specification}")
    if(NOT ${prefix}_FOUND)
        message(FATAL_ERROR "${specification} was not found. Install the package ${package}.")
    endif()
    message(STATUS "Found ${specification}: ${${prefix}_VERSION}")
endfunction()

# FFmpeg 5.1 is the first release with the channel layout interface used here; its libraries
# carry version numbers of their own.
quorvel_find_module(AVUTIL libavutil-dev "libavutil >= 57.28")
quorvel_find_module(AVCODEC libavcodec-dev "libavcodec >= 59.37")
quorvel_find_module(AVFORMAT libavformat-dev "libavformat >= 59.27")
quorvel_find_module(SWRESAMPLE libswresample-dev "libswresample >= 4.7")
quorvel_find_module(CHROMAPRINT libchromaprint-dev "libchromaprint >= 1.5")

# What a moved file takes along to another file system, as the commands of the system do it.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
    quorvel_find_module(ATTR libattr1-dev "libattr >= 2.5")
    quorvel_find_module(ACL libacl1-dev "libacl >= 2.3")
endif()
