# Includes point down: cmake -DROOT=<the sources> -P includes.cmake. A file may include those of its own floor and of
# the floors before it in the list, nothing else of the project's.

# Floor by floor, from the ground up, the folders of each.
set(floors
  device/cuda/include/cuda_words.h|device/software/include/cuda_words.h
  ground
  host
  device
  cudalib
  src/basic
  src/blas
  src/brd
  lapack
  api)
# The floor of a file, by the longest of the folders that it is in; -1: none.
function(floor_of file result)
  set(found -1)
  set(level 0)
  foreach(floor IN LISTS floors)
    string(REPLACE "|" ";" folders "${floor}")
    foreach(folder IN LISTS folders)
      string(FIND "${file}/" "${folder}/" at)
      if(at EQUAL 0 AND found EQUAL -1)
        set(found ${level})
      endif()
    endforeach()
    math(EXPR level "${level} + 1")
  endforeach()
  set(${result} ${found} PARENT_SCOPE)
endfunction()

set(wrong "")
set(seen 0)
file(GLOB_RECURSE files RELATIVE "${ROOT}" "${ROOT}/ground/*" "${ROOT}/host/*" "${ROOT}/device/*" "${ROOT}/cudalib/*"
  "${ROOT}/src/*" "${ROOT}/lapack/*" "${ROOT}/api/*" "${ROOT}/tools/*" "${ROOT}/examples/*" "${ROOT}/include/*")
list(FILTER files INCLUDE REGEX "\\.(h|c|cpp|cu)$")
foreach(file IN LISTS files)
  floor_of("${file}" floor)
  file(STRINGS "${ROOT}/${file}" lines REGEX "^#include [<\"]")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "^#include [<\"]([^>\"]+)[>\"].*" "\\1" included "${line}")
    # Headers that the include path finds: the public one, and those that each device supplies.
    set(target "${included}")
    if(included MATCHES "^(device/[a-z]+|cuda_words|cuda_runtime|cublas)\\.h$" AND NOT EXISTS "${ROOT}/${included}")
      string(REGEX MATCH "^device/[a-z]+" device "${file}")
      if(NOT device)
        set(device device/software)
      endif()
      set(target "${device}/include/${included}")
    endif()
    if(NOT EXISTS "${ROOT}/${target}")
      continue() # the system's, a library's
    endif()
    math(EXPR seen "${seen} + 1")
    if(target STREQUAL "include/tovi.h")
      continue()
    endif()
    floor_of("${target}" floor_below)
    if(floor EQUAL -1) # outside of the library, or the public header
      string(REGEX MATCH "^[^/]+" room "${file}")
      if(NOT target MATCHES "^(${room}|device/software/include)/")
        string(APPEND wrong "${file}: ${line} (may use include/tovi.h and the runtime alone)\n")
      endif()
    elseif(floor_below EQUAL -1 OR floor_below GREATER floor)
      string(APPEND wrong "${file}: ${line} (climbs)\n")
    endif()
    if(target MATCHES "/testing/" AND NOT file MATCHES "/testing/")
      string(APPEND wrong "${file}: ${line} (the test interface)\n")
    endif()
  endforeach()
endforeach()
if(NOT wrong STREQUAL "")
  message(FATAL_ERROR "\n${wrong}")
endif()
message("${seen} includes point down")
