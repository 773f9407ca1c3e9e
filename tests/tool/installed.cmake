# Installs the build of BUILD below it and runs the program from there: it has to find the libraries by itself.
set(prefix "${BUILD}/installed")
file(REMOVE_RECURSE "${prefix}")
execute_process(COMMAND "${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${prefix}" OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND "${prefix}/${PROGRAM}" --version RESULT_VARIABLE exit_code)
file(REMOVE_RECURSE "${prefix}")
if(NOT exit_code EQUAL 0)
  message(FATAL_ERROR "the installed program does not start: ${exit_code}")
endif()
