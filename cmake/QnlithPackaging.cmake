# Debian packages of the build, made by CPack (`cpack -G DEB` in the build
# directory, or `cpack --preset package`):
#   libqnlith50-5    the three shared libraries
#   libqnlith50-dev  headers, CMake package, pkg-config file, resource helpers
#   qnlith           the command-line tool and its manual page
# Install components carry the split: runtime, dev and tool. Shared-library
# dependencies come from dpkg-shlibdeps; the runtime package ships a shlibs
# file, so the tool's dependency on it is computed the same way.
include_guard(GLOBAL)

set(QNLITH_DEBIAN_RELEASE 1)
set(QNLITH_DEBIAN_VERSION ${PROJECT_VERSION}-${QNLITH_DEBIAN_RELEASE})
set(QNLITH_RUNTIME_PACKAGE libqnlith50-${PROJECT_VERSION_MAJOR})

# Each package carries the copyright file and the compressed changelog that
# Debian policy asks for. They are installed only when a package is made.
set(_qnlith_debian_work ${PROJECT_BINARY_DIR}/debian)
configure_file(${PROJECT_SOURCE_DIR}/cmake/debian/changelog.in ${_qnlith_debian_work}/changelog @ONLY)
# gzip -n: no name or time stamp, so that rebuilt packages are identical.
execute_process(COMMAND gzip -9nc ${_qnlith_debian_work}/changelog
                OUTPUT_FILE ${_qnlith_debian_work}/changelog.Debian.gz
                COMMAND_ERROR_IS_FATAL ANY)
foreach(_package ${QNLITH_RUNTIME_PACKAGE}:runtime libqnlith50-dev:dev qnlith:tool)
  string(REPLACE ":" ";" _package ${_package})
  list(GET _package 0 _name)
  list(GET _package 1 _component)
  install(FILES ${PROJECT_SOURCE_DIR}/cmake/debian/copyright ${_qnlith_debian_work}/changelog.Debian.gz
          DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${_name}
          COMPONENT ${_component} EXCLUDE_FROM_ALL)
endforeach()

set(CPACK_PACKAGE_NAME qnlith50)
set(CPACK_PACKAGE_VENDOR "Qnlith50 maintainers")
set(CPACK_PACKAGE_CONTACT "Qnlith50 maintainers <maintainers@users.noreply.c-seed-f07750de.example>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# Each component's description begins with its own synopsis; CPack puts any
# summary but its default before it.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_NAME} built using CMake")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL runtime dev tool)
set(CPACK_DEB_COMPONENT_INSTALL ON)

set(CPACK_DEBIAN_PACKAGE_RELEASE ${QNLITH_DEBIAN_RELEASE})
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# dpkg-shlibdeps finds the runtime package's own libraries for the tool here.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/platform
    ${PROJECT_BINARY_DIR}/framework)
set(QNLITH_SHLIBS_LOCAL)
foreach(library Qnlith50 qnframework qnplatform)
  string(APPEND QNLITH_SHLIBS_LOCAL
         "lib${library} ${PROJECT_VERSION_MAJOR} ${QNLITH_RUNTIME_PACKAGE} (>= ${QNLITH_DEBIAN_VERSION})\n")
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/cmake/debian/shlibs_local.cmake.in ${_qnlith_debian_work}/shlibs_local.cmake @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS ${_qnlith_debian_work}/shlibs_local.cmake)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE "https://qnlith50.c-seed-f07750de.example/")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${QNLITH_RUNTIME_PACKAGE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# A shlibs file for the runtime package (only it holds libraries), and the
# dynamic linker's cache refreshed by a trigger.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
"portable object layer over threads, files, modules and resources
Qnlith50 is a C++ object layer over threads, synchronisation, files,
version resources, registry nodes, loadable modules and their resources,
the command line and processes, with faults and system errors turned into
exceptions, message texts and message boxes.
.
This package holds the shared libraries: libQnlith50, and the two layers
beneath it, libqnframework and libqnplatform.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libqnlith50-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
    "${QNLITH_RUNTIME_PACKAGE} (= ${QNLITH_DEBIAN_VERSION}), binutils-mingw-w64-x86-64, cpp")
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)
set(CPACK_COMPONENT_DEV_DESCRIPTION
"portable object layer over threads, files, modules and resources (development)
Qnlith50 is a C++ object layer over threads, synchronisation, files,
version resources, registry nodes, loadable modules and their resources,
the command line and processes.
.
This package holds the headers, the CMake package Qnlith50, the pkg-config
file qnlith50.pc and the CMake functions that compile resource scripts and
message files into an application (they call windres and windmc).")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME qnlith)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_TOOL_DESCRIPTION
"command-line tool of the Qnlith50 library
qnlith gives the library's services on the command line: the texts of
system errors and message files, path algebra, version resources,
registry nodes with their export and import as .reg files, the resources of
ELF modules, PE images and .res files (and their images as PNG files), and
a demonstration of fault translation.")

include(CPack)
