# The CUDA toolkit, 12 or later: the compiler, from CUDA_PATH, CUDA_HOME or the usual place where none is on the path,
# and its libraries. Included by the top-level file, since a language belongs to the whole project.
if(NOT CMAKE_CUDA_COMPILER)
  find_program(TOVI_NVCC nvcc HINTS "$ENV{CUDA_PATH}/bin" "$ENV{CUDA_HOME}/bin" PATHS /usr/local/cuda/bin)
  if(TOVI_NVCC)
    set(CMAKE_CUDA_COMPILER "${TOVI_NVCC}" CACHE FILEPATH "CUDA compiler")
  endif()
endif()
if(NOT DEFINED CMAKE_CUDA_ARCHITECTURES AND NOT DEFINED ENV{CUDAARCHS})
  set(CMAKE_CUDA_ARCHITECTURES OFF) # all major ones, in the compiler's words: CMake 3.22 has none for them
  add_compile_options("$<$<COMPILE_LANGUAGE:CUDA>:-arch=all-major;-Wno-deprecated-gpu-targets>")
endif()
enable_language(CUDA)
set(CMAKE_CUDA_STANDARD 17)
set(CMAKE_CUDA_STANDARD_REQUIRED ON)
set(CMAKE_CUDA_VISIBILITY_PRESET hidden)
find_package(CUDAToolkit 12.0 REQUIRED)
set(CMAKE_INSTALL_RPATH_USE_LINK_PATH ON) # what is installed finds the toolkit's libraries where they are
