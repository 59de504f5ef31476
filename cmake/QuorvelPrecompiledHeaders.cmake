# Precompiled headers: parsing those of Qt takes most of the time that a small source takes to
# compile.
#
# The tests, the demonstration and the benchmarks always use them. The programs' own sources use them
# only where this option is on: a source that lacks an include compiles with them and fails without.
option(QUORVEL_PRECOMPILE_HEADERS "Precompile headers for the programs' own sources, too" OFF)
# CI compiles each test once for one run of a few seconds: optimising it takes longer than it saves.
option(QUORVEL_UNOPTIMIZED_TESTS "Do not optimise what is compiled with precompiled headers" OFF)
set(QUORVEL_PRECOMPILED_OPTIONS "")
if(QUORVEL_UNOPTIMIZED_TESTS AND NOT MSVC)
    set(QUORVEL_PRECOMPILED_OPTIONS -O0)
endif()

# quorvel_precompile_headers(<Core | Widgets> <target>...)
#
# The headers of this module of Qt, and those of the standard library that most sources include,
# compiled once for all targets. Those of Qt Test depend on the folder of a test.
function(quorvel_precompile_headers module)
    set(headers quorvel_headersof${module})
    if(NOT TARGET ${headers})
        add_library(${headers} OBJECT "${PROJECT_SOURCE_DIR}/cmake/precompiledheaders.cpp")
        set_target_properties(${headers} PROPERTIES AUTOMOC OFF)
        target_link_libraries(${headers} PRIVATE Qt6::${module} quorvel_options)
        target_compile_options(${headers} PRIVATE ${QUORVEL_PRECOMPILED_OPTIONS})
        target_precompile_headers(${headers} PRIVATE
            <Qt${module}> <algorithm> <functional> <memory> <optional> <string> <vector>)
    endif()
    foreach(target IN LISTS ARGN)
        target_precompile_headers(${target} REUSE_FROM ${headers})
        target_compile_options(${target} PRIVATE ${QUORVEL_PRECOMPILED_OPTIONS})
    endforeach()
endfunction()
