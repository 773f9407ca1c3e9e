# Makes the packages of CONFIG in PACKAGES and unpacks them: each has to consist of the files that EXPECTED lists, and
# the program in it has to find the library. What the archive holds stays in UNPACKED.
file(STRINGS "${EXPECTED}" expected)
list(SORT expected)

function(check package folder)
  file(GLOB_RECURSE files RELATIVE "${folder}" "${folder}/*")
  list(SORT files)
  if(NOT files STREQUAL expected)
    list(JOIN files "\n  " files)
    list(JOIN expected "\n  " expected)
    message(FATAL_ERROR "${package} holds\n  ${files}\nand should hold\n  ${expected}")
  endif()
  execute_process(COMMAND ${EMULATOR} "${folder}/bin/${PROGRAM}" --version COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE "${PACKAGES}" "${UNPACKED}")
execute_process(COMMAND "${CMAKE_CPACK_COMMAND}" --config "${CONFIG}" -B "${PACKAGES}"
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)

file(GLOB archive "${PACKAGES}/*.tar.gz" "${PACKAGES}/*.zip")
file(ARCHIVE_EXTRACT INPUT "${archive}" DESTINATION "${PACKAGES}")
string(REGEX REPLACE "\\.(tar\\.gz|zip)$" "" folder "${archive}")
file(RENAME "${folder}" "${UNPACKED}")
check("${archive}" "${UNPACKED}")

file(GLOB debian "${PACKAGES}/*.deb")
if(debian)
  execute_process(COMMAND dpkg-deb -x "${debian}" "${PACKAGES}/debian" COMMAND_ERROR_IS_FATAL ANY)
  check("${debian}" "${PACKAGES}/debian/usr")
  execute_process(COMMAND dpkg-deb -f "${debian}" Depends OUTPUT_VARIABLE depends COMMAND_ERROR_IS_FATAL ANY)
  if(NOT depends MATCHES "libc6 .*libstdc\\+\\+6 ")
    message(FATAL_ERROR "${debian} depends on: ${depends}")
  endif()
endif()
file(REMOVE_RECURSE "${PACKAGES}")
