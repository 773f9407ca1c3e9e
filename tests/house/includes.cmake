# Includes point down: cmake -DROOT=<the sources> -P includes.cmake. A file may include those of its own floor and of
# the floors before it in the list, nothing else of the project's.

# From the ground up.
set(floors
  ground
  host
  device
  cudalib
  src/basic
  src/blas
  src/brd
  lapack
  api)

# The floor of a file; -1: none.
function(floor_of file result)
  set(found -1)
  set(level 0)
  foreach(folder IN LISTS floors)
    string(FIND "${file}" "${folder}/" at)
    if(at EQUAL 0)
      set(found ${level})
    endif()
    math(EXPR level "${level} + 1")
  endforeach()
  set(${result} ${found} PARENT_SCOPE)
endfunction()

set(wrong "")
set(seen 0)
file(GLOB_RECURSE files RELATIVE "${ROOT}" "${ROOT}/ground/*" "${ROOT}/host/*" "${ROOT}/device/*" "${ROOT}/cudalib/*"
  "${ROOT}/src/*" "${ROOT}/lapack/*" "${ROOT}/api/*" "${ROOT}/tools/*" "${ROOT}/examples/*" "${ROOT}/include/*")
list(FILTER files EXCLUDE REGEX "\\.(txt|def|map|md|in)$")
foreach(file IN LISTS files)
  floor_of("${file}" floor)
  file(STRINGS "${ROOT}/${file}" lines REGEX "^[ \t]*#[ \t]*include[ \t]*[<\"]")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*[<\"]([^>\"]+)[>\"].*" "\\1" included "${line}")
    # Headers that the include path finds: the public one, and those that each device supplies.
    set(target "${included}")
    if(included STREQUAL tovi.h)
      set(target include/tovi.h)
    elseif(included STREQUAL cuda_words.h)
      set(target ground/words/software/cuda_words.h)
    elseif(included MATCHES "^(device/[a-z_]+|cuda_runtime|cublas)\\.h$" AND NOT EXISTS "${ROOT}/${included}")
      set(device software)
      if(file MATCHES "/cuda/")
        set(device cuda)
      endif()
      set(target "device/${device}/include/${included}")
    endif()
    if(NOT EXISTS "${ROOT}/${target}" OR included MATCHES "\\.\\.")
      if(line MATCHES "\"" OR included MATCHES "\\.\\.") # else the system's, a library's
        string(APPEND wrong "${file}: ${line} (is not written from the top)\n")
      endif()
      continue()
    endif()
    math(EXPR seen "${seen} + 1")
    if(target STREQUAL "include/tovi.h")
      if(floor GREATER -1 AND NOT file MATCHES "^api/")
        string(APPEND wrong "${file}: ${line} (the public header is the exports' and the users')\n")
      endif()
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
    elseif(target MATCHES "^device/software/" AND NOT file MATCHES "^device/software/"
           AND NOT included MATCHES "^(device/(runtime|launch)|cuda_runtime|cublas)\\.h$")
      string(APPEND wrong "${file}: ${line} (behind the seam)\n")
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
