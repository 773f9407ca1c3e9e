# tovi_host_lapack: the BLAS and LAPACK that run on the processor, standard Fortran interface.
#
# By default the software build embeds OpenBLAS, without its threads (platform/host/serial_openblas.c): the software
# device brings its own and cuts every product into the same pieces whatever their number, so results do not
# depend on it, and nothing in the host program's own BLAS is touched. Where the archive is missing, and in
# the CUDA build, what find_package finds is linked (BLA_VENDOR chooses). TOVI_HOST_LAPACK, a list of link items,
# overrides both.

set(TOVI_HOST_LAPACK "" CACHE STRING "Link items of the host LAPACK and BLAS; empty: found")

add_library(tovi_host_lapack INTERFACE)
if(NOT TOVI_HOST_LAPACK AND TOVI_PLATFORM STREQUAL "software")
  find_library(TOVI_OPENBLAS_ARCHIVE NAMES libopenblas.a PATH_SUFFIXES openblas-pthread)
  find_library(TOVI_GFORTRAN NAMES libgfortran.so.5 gfortran)
  if(TOVI_OPENBLAS_ARCHIVE AND TOVI_GFORTRAN)
    try_compile(tovi_embedding_works "${PROJECT_BINARY_DIR}/check_openblas"
      SOURCES "${PROJECT_SOURCE_DIR}/platform/host/serial_openblas.c" "${PROJECT_SOURCE_DIR}/cmake/check_openblas.c"
      LINK_OPTIONS "LINKER:--wrap=blas_thread_init"
      LINK_LIBRARIES "${TOVI_OPENBLAS_ARCHIVE}" "${TOVI_GFORTRAN}" m pthread)
  endif()
endif()

if(TOVI_HOST_LAPACK)
  target_link_libraries(tovi_host_lapack INTERFACE ${TOVI_HOST_LAPACK})
  set(tovi_host_lapack_found "${TOVI_HOST_LAPACK}")
elseif(tovi_embedding_works)
  add_library(tovi_serial_openblas STATIC "${PROJECT_SOURCE_DIR}/platform/host/serial_openblas.c")
  target_link_libraries(tovi_serial_openblas PRIVATE tovi_options)
  target_link_libraries(tovi_host_lapack INTERFACE
    "${TOVI_OPENBLAS_ARCHIVE}" tovi_serial_openblas "${TOVI_GFORTRAN}" m pthread)
  target_link_options(tovi_host_lapack INTERFACE "LINKER:--wrap=blas_thread_init,--exclude-libs,libopenblas.a")
  set(tovi_host_lapack_found "${TOVI_OPENBLAS_ARCHIVE} (embedded)")
else()
  if(NOT BLA_VENDOR)
    if(DEFINED ENV{BLA_VENDOR})
      set(BLA_VENDOR "$ENV{BLA_VENDOR}")
    else()
      set(BLA_VENDOR OpenBLAS)
    endif()
  endif()
  find_package(LAPACK REQUIRED)
  target_link_libraries(tovi_host_lapack INTERFACE LAPACK::LAPACK)
  # Such a library may run its own threads: the software device then hands it one piece at a time.
  target_compile_definitions(tovi_host_lapack INTERFACE TOVI_HOST_BLAS_THREADS=1)
  set(tovi_host_lapack_found "${LAPACK_LIBRARIES}")
endif()
message(STATUS "Host LAPACK: ${tovi_host_lapack_found}")
