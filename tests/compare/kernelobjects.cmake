# Fails if an object file of a kernel for wide registers brings a function of which the linker keeps
# one copy of several: the program would run that copy on processors that cannot.
#
# cmake -D NM=<nm> -D OBJECTS=<file,...> -P kernelobjects.cmake
string(REPLACE "," ";" objects "${OBJECTS}")
set(kernels 0)
foreach(object IN LISTS objects)
    if(NOT object MATCHES "(similaritykernel(avx|popcnt)|errorsoutsideavx)[^/]*$")
        continue()
    endif()
    math(EXPR kernels "${kernels} + 1")
    execute_process(COMMAND "${NM}" -C "${object}" OUTPUT_VARIABLE symbols
        COMMAND_ERROR_IS_FATAL ANY)
    if(NOT symbols MATCHES "kAvx|kPopcnt|errorsOutsideAvx")
        message(FATAL_ERROR "${object} defines no kernel:\n${symbols}")
    endif()
    # Called through the kernels alone.
    string(REGEX REPLACE "\n[0-9a-f]+ T compare::errorsOutsideAvx[^\n]*" "" symbols "\n${symbols}")
    # W and V: weak; u: unique in the whole process; T: a function that others can call.
    if(symbols MATCHES "\n[0-9a-f]+ [WVuT] [^\n]*")
        message(FATAL_ERROR "${object} defines what other object files may use: ${CMAKE_MATCH_0}")
    endif()
endforeach()
if(NOT kernels EQUAL 5)
    message(FATAL_ERROR "Found ${kernels} object files of kernels, not 5")
endif()
