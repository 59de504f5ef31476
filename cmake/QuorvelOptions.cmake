# What every target of the project is compiled with: one INTERFACE target, linked PRIVATE everywhere.

option(QUORVEL_WARNINGS_AS_ERRORS "Treat compiler warnings as errors" OFF)
set(QUORVEL_SANITIZE "" CACHE STRING "Sanitizers to build with, e.g. address,undefined")

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Type of build" FORCE)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)

add_library(quorvel_options INTERFACE)
target_compile_definitions(quorvel_options INTERFACE
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_CAST_FROM_BYTEARRAY
    QT_NO_CONTEXTLESS_CONNECT
    QT_NO_FOREACH
    QT_NO_KEYWORDS
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
    QT_NO_URL_CAST_FROM_STRING)

if(MSVC)
    target_compile_options(quorvel_options INTERFACE /W4)
else()
    target_compile_options(quorvel_options INTERFACE
        -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual)
endif()
if(QUORVEL_WARNINGS_AS_ERRORS)
    target_compile_options(quorvel_options INTERFACE $<IF:$<CXX_COMPILER_ID:MSVC>,/WX,-Werror>)
endif()

# Sanitizers reach every target, the generated code of the toolkit included.
if(QUORVEL_SANITIZE)
    add_compile_options(-fsanitize=${QUORVEL_SANITIZE} -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${QUORVEL_SANITIZE})
    if(QUORVEL_SANITIZE MATCHES "undefined")
        add_compile_options(-fno-sanitize-recover=undefined)
    endif()
endif()
