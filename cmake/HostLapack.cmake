# tovi_host_lapack: the BLAS and LAPACK that run on the processor, standard Fortran interface.
#
# By default the software build embeds OpenBLAS, without its threads (host/serial_openblas.c): the software
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
    set(tovi_replaced blas_thread_init gotoblas_dynamic_quit sgemv_thread_n dgemv_thread_n
      cgemv_thread_n cgemv_thread_r cgemv_thread_o cgemv_thread_s zgemv_thread_n zgemv_thread_r zgemv_thread_o zgemv_thread_s)
    list(TRANSFORM tovi_replaced PREPEND "LINKER:--wrap=")
    set(tovi_check "${PROJECT_BINARY_DIR}/check_openblas")
    try_compile(tovi_embedding_works "${tovi_check}"
      SOURCES "${PROJECT_SOURCE_DIR}/host/serial_openblas.c" "${PROJECT_SOURCE_DIR}/cmake/check_openblas.c"
      LINK_OPTIONS ${tovi_replaced}
      LINK_LIBRARIES "${TOVI_OPENBLAS_ARCHIVE}" "${TOVI_GFORTRAN}" m pthread ${CMAKE_DL_LIBS}
      COPY_FILE "${tovi_check}/check_openblas")
    # Its own name for the malloc that its kernels call: not all of a program is to be linked with another one.
    set(tovi_own_openblas "${PROJECT_BINARY_DIR}/openblas/libopenblas.a")
    if(tovi_embedding_works AND "${TOVI_OPENBLAS_ARCHIVE}" IS_NEWER_THAN "${tovi_own_openblas}")
      file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/openblas")
      execute_process(COMMAND "${CMAKE_OBJCOPY}" --redefine-sym malloc=tovi_openblas_malloc
        --redefine-sym free=tovi_openblas_free "${TOVI_OPENBLAS_ARCHIVE}" "${tovi_own_openblas}"
        RESULT_VARIABLE tovi_check_failed)
      if(tovi_check_failed)
        set(tovi_embedding_works FALSE)
      endif()
    endif()
    if(tovi_embedding_works)
      execute_process(COMMAND "${tovi_check}/check_openblas"
        RESULT_VARIABLE tovi_check_failed OUTPUT_VARIABLE tovi_work_buffer_bytes)
      if(tovi_check_failed)
        set(tovi_embedding_works FALSE)
      endif()
    endif()
  endif()
endif()

if(TOVI_HOST_LAPACK)
  target_link_libraries(tovi_host_lapack INTERFACE ${TOVI_HOST_LAPACK})
  set(tovi_host_lapack_found "${TOVI_HOST_LAPACK}")
elseif(tovi_embedding_works)
  add_library(tovi_serial_openblas STATIC
    "${PROJECT_SOURCE_DIR}/host/serial_openblas.c" "${PROJECT_SOURCE_DIR}/host/work_buffers.cpp"
    "${PROJECT_SOURCE_DIR}/host/products.cpp"
    "${PROJECT_SOURCE_DIR}/host/process_posix.cpp" "${PROJECT_SOURCE_DIR}/ground/per_process_posix.cpp")
  target_compile_definitions(tovi_serial_openblas PRIVATE
    TOVI_EMBEDDED_OPENBLAS TOVI_WORK_BUFFER_BYTES=${tovi_work_buffer_bytes})
  target_link_libraries(tovi_serial_openblas PRIVATE tovi_options)
  target_link_libraries(tovi_host_lapack INTERFACE
    -Wl,--start-group "${tovi_own_openblas}" tovi_serial_openblas -Wl,--end-group "${TOVI_GFORTRAN}" m pthread)
  target_link_options(tovi_host_lapack INTERFACE ${tovi_replaced}
    "LINKER:--wrap=blas_memory_alloc,--wrap=blas_memory_free,--wrap=sgemm_,--wrap=dgemm_,--exclude-libs,libopenblas.a")
  target_compile_definitions(tovi_host_lapack INTERFACE TOVI_EMBEDDED_OPENBLAS)
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
