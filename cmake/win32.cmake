# Cross-compiles for 32-bit Windows with Debian's mingw-w64, with everything linked statically but the system's own
# libraries. scripts/win32-prefix fills the folder where the build finds other libraries; scripts/win32-run runs what was
# built.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER i686-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER i686-w64-mingw32-g++-posix)
set(CMAKE_Fortran_COMPILER i686-w64-mingw32-gfortran-posix)
set(CMAKE_RC_COMPILER i686-w64-mingw32-windres)

# Floating-point numbers in SSE registers, as everywhere else: x87 would round twice. The compiler then aligns the stack
# by itself, which callers on this system need not do.
foreach(language C CXX Fortran)
  set(CMAKE_${language}_FLAGS_INIT "-msse2 -mfpmath=sse")
endforeach()
foreach(kind EXE SHARED)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT -static)
endforeach()

if(DEFINED ENV{XDG_CACHE_HOME})
  set(cache "$ENV{XDG_CACHE_HOME}")
else()
  set(cache "$ENV{HOME}/.cache")
endif()
set(TOVI_WIN32_PREFIX "${cache}/tovi/win32" CACHE PATH "What scripts/win32-prefix has made")
set(TOVI_HOST_LAPACK
  "${TOVI_WIN32_PREFIX}/lib/liblapack.a;${TOVI_WIN32_PREFIX}/lib/libblas.a;gfortran;quadmath"
  CACHE STRING "Link items of the host LAPACK and BLAS")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TOVI_WIN32_PREFIX)

set(CMAKE_FIND_ROOT_PATH "${TOVI_WIN32_PREFIX}" /usr/i686-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
foreach(kind LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()

get_filename_component(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../scripts/win32-run" ABSOLUTE)
