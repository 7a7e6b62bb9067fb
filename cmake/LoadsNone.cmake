# cmake -DPROGRAM=… -DLIBRARIES=vips|heif -P LoadsNone.cmake: fails when the program, or a library that it loads, loads
# one whose name begins so.
execute_process(COMMAND ldd ${PROGRAM} OUTPUT_VARIABLE libraries COMMAND_ERROR_IS_FATAL ANY)
string(REGEX MATCHALL "lib(${LIBRARIES})[^ ]*\\.so[^ ]*" unwanted "${libraries}")
if(NOT libraries MATCHES "libQt6Core")
    message(FATAL_ERROR "${PROGRAM}: unexpected answer of ldd: ${libraries}")
endif()
if(unwanted)
    message(FATAL_ERROR "${PROGRAM} loads ${unwanted}")
endif()
