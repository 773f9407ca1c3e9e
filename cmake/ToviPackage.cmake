# What an installation has beside the libraries, the headers and the program: package files for CMake
# (find_package(tovi), target tovi::tovi) and for pkg-config, the licence, the manual. None of them says where the
# installation is, so it may be moved. And what cpack makes of it: scripts/package.

include(CMakePackageConfigHelpers)
set(files "${PROJECT_BINARY_DIR}/package")

set(destination "${CMAKE_INSTALL_LIBDIR}/cmake/tovi")
configure_package_config_file(cmake/toviConfig.cmake.in "${files}/toviConfig.cmake"
  INSTALL_DESTINATION "${destination}")
write_basic_package_version_file("${files}/toviConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${files}/toviConfig.cmake" "${files}/toviConfigVersion.cmake" DESTINATION "${destination}")
install(EXPORT tovi NAMESPACE tovi:: FILE toviTargets.cmake DESTINATION "${destination}")

if(WIN32)
  # The exports, from which other compilers make an import library of their own. Without the linker's ordinals: no
  # program should depend on them.
  target_link_options(tovi PRIVATE "LINKER:--output-def,${files}/linker.def")
  install(CODE "
    file(READ \"${files}/linker.def\" exports)
    string(REGEX REPLACE \" @[0-9]+\" \"\" exports \"\${exports}\")
    file(WRITE \"${files}/tovi.def\" \"LIBRARY tovi.dll\\n\${exports}\")")
  install(FILES "${files}/tovi.def" DESTINATION "${CMAKE_INSTALL_LIBDIR}")
else()
  file(RELATIVE_PATH to_headers "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
  set(modules tovi)
  if(TOVI_PLATFORM STREQUAL "software")
    list(APPEND modules tovi-software)
  endif()
  foreach(module ${modules})
    configure_file(cmake/${module}.pc.in "${files}/${module}.pc" @ONLY)
    install(FILES "${files}/${module}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
  endforeach()
endif()

# The licence, followed by those of the libraries that are part of the binaries.
set(licences)
if(tovi_embedding_works)
  list(APPEND licences /usr/share/doc/libopenblas-pthread-dev/copyright)
endif()
if(TARGET tovi_tool)
  list(APPEND licences /usr/share/doc/libcli11-dev/copyright)
endif()
if(WIN32)
  file(GLOB prefix_licences "${TOVI_WIN32_PREFIX}/share/licences/*")
  list(APPEND licences ${prefix_licences}
    /usr/share/doc/mingw-w64-common/copyright /usr/share/doc/gcc-mingw-w64-base/copyright)
endif()
file(READ LICENSE text)
foreach(licence ${licences})
  if(EXISTS "${licence}")
    file(READ "${licence}" part)
    string(APPEND text "\n\nA library that is part of the binaries:\n\n${part}")
  endif()
endforeach()
if(WIN32)
  set(licence_file LICENSE.txt)
  set(destination .)
else()
  set(licence_file copyright)
  set(destination "${CMAKE_INSTALL_DOCDIR}")
endif()
file(WRITE "${files}/${licence_file}" "${text}")
install(FILES "${files}/${licence_file}" README.md DESTINATION "${destination}")

set(CPACK_PACKAGE_VENDOR "The TOVI authors")
set(CPACK_PACKAGE_CONTACT "The TOVI authors <authors@tovi.invalid>" CACHE STRING "Maintainer of the packages")
set(CPACK_PACKAGE_DESCRIPTION
"LU, Cholesky and QR factorization, linear systems, least squares, singular
values, eigenvalues, matrix products and triangular solves, in single and double
precision, real and complex, behind a plain C interface. This build needs no GPU:
it runs on a software device, in the same process, on all cores. The program tovi solves and
decomposes Matrix Market files, tables and pictures.")
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
if(WIN32)
  set(CPACK_GENERATOR ZIP)
else()
  set(CPACK_GENERATOR TGZ)
  string(TOLOWER "tovi-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}" CPACK_PACKAGE_FILE_NAME)
  # A .deb names the packages it depends on, as dpkg-shlibdeps finds them. A CUDA toolkit need not be one.
  find_program(TOVI_SHLIBDEPS dpkg-shlibdeps)
  find_program(TOVI_FILE file)
  if(TOVI_SHLIBDEPS AND TOVI_FILE AND TOVI_PLATFORM STREQUAL "software")
    list(APPEND CPACK_GENERATOR DEB)
  endif()
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION math)
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
endif()
include(CPack)
