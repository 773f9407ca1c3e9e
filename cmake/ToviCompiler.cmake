# tovi_options: what every target of this project is compiled with.
# tovi_library_part(name sources...): one floor of the library, an object library that libtovi is made of.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g -DNDEBUG")
set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O2 -g -DNDEBUG")
if(WIN32) # a program finds libraries in its own folder
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
endif()

add_library(tovi_options INTERFACE)
set(tovi_warnings -Wall -Wextra -Wconversion -Wshadow -Werror)
target_compile_options(tovi_options INTERFACE
  "$<$<COMPILE_LANGUAGE:C,CXX>:${tovi_warnings}>"
  "$<$<COMPILE_LANGUAGE:CUDA>:-Xcompiler=-Wall,-Wextra;--Werror=all-warnings>")
target_include_directories(tovi_options INTERFACE "${PROJECT_SOURCE_DIR}")

if(UNIX) # also of libraries that are loaded late: first use of another model's allocates, and ends the process if it cannot
  target_compile_options(tovi_options INTERFACE "$<$<COMPILE_LANGUAGE:CXX>:-ftls-model=initial-exec>")
endif()
if(TOVI_SANITIZE) # between whose checks GCC takes the value of an optional for uninitialized
  string(REPLACE ",undefined" "" tovi_sanitize_all "${TOVI_SANITIZE}")
  target_compile_options(tovi_options INTERFACE -Wno-maybe-uninitialized
    -fsanitize=${tovi_sanitize_all} -fno-omit-frame-pointer -fno-sanitize-recover=all -g1) # their reports name lines only
  if(TOVI_SANITIZE MATCHES undefined) # not in the code of tests, which would take half as long again to compile
    target_compile_options(tovi_options INTERFACE
      "$<$<NOT:$<BOOL:$<TARGET_PROPERTY:TOVI_IS_TEST>>>:-fsanitize=undefined;-fno-sanitize-recover=all>")
  endif()
  target_link_options(tovi_options INTERFACE -fsanitize=${TOVI_SANITIZE})
endif()

function(tovi_library_part name)
  add_library(${name} OBJECT ${ARGN})
  # Kernels (.cu) are CUDA C++, pragmas of its compiler included. The software device compiles the same files as C++.
  set(kernels ${ARGN})
  list(FILTER kernels INCLUDE REGEX "\\.cu$")
  if(kernels AND TOVI_PLATFORM STREQUAL "software")
    set_source_files_properties(${kernels} PROPERTIES LANGUAGE CXX COMPILE_OPTIONS "-x;c++;-Wno-unknown-pragmas")
  endif()
  target_link_libraries(${name} PUBLIC tovi_options tovi_platform)
  target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}/include")
  # On Windows: what the parts call of each other is not in another library.
  target_compile_definitions(${name} PRIVATE TOVI_STATIC)
endfunction()
