# Packages of an installed VYR by CPack: Debian's, one for each component, and a folder in a .tar.gz for everybody else.
# "./dev package" makes and tries them. With SOURCE_DATE_EPOCH set, the same sources make the same bytes.
set(CPACK_PACKAGE_NAME vyr)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "VYR authors <vyr@example.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

# .deb
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_PACKAGE_SECTION math)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
# vyr_debian_package(<component> <description> [SECTION <section>] [DEPENDS <text>] [ANY_PROCESSOR])
macro(vyr_debian_package component description)
  cmake_parse_arguments(deb "ANY_PROCESSOR" "SECTION;DEPENDS" "" ${ARGN})
  string(TOUPPER ${component} upper)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${component})
  set(CPACK_COMPONENT_${upper}_DESCRIPTION "${PROJECT_DESCRIPTION}: ${description}")
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION "${deb_SECTION}")
  set(CPACK_DEBIAN_${upper}_PACKAGE_DEPENDS "${deb_DEPENDS}")
  set(CPACK_DEBIAN_${upper}_PACKAGE_SHLIBDEPS ON)
  if(deb_ANY_PROCESSOR)
    set(CPACK_DEBIAN_${upper}_PACKAGE_ARCHITECTURE all)
    set(CPACK_DEBIAN_${upper}_PACKAGE_SHLIBDEPS OFF)
  endif()
endmacro()
set(same "(= ${PROJECT_VERSION})")
vyr_debian_package(libvyr2 "the nine functions" SECTION libs)
vyr_debian_package(libvyrsolver1 "the library interface" SECTION libs)
vyr_debian_package(libvyr-dev "headers, pages, examples" SECTION libdevel
                   DEPENDS "libvyr2 ${same}, libvyrsolver1 ${same}")
vyr_debian_package(vyr "the command line tool" SECTION math DEPENDS "libvyrsolver1 ${same}")
vyr_debian_package(python3-vyr "for Python" SECTION python ANY_PROCESSOR
                   DEPENDS "libvyrsolver1 (>= ${PROJECT_VERSION}), python3 (>= 3.9), python3-numpy, python3-scipy")
set(CPACK_DEBIAN_PYTHON3-VYR_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/cmake/package/postinst"
    "${PROJECT_SOURCE_DIR}/cmake/package/prerm") # byte code, made and removed

# .tar.gz
set(CPACK_ARCHIVE_COMPONENT_INSTALL OFF)
set(CPACK_PACKAGE_FILE_NAME "vyr-${PROJECT_VERSION}-linux-${CMAKE_SYSTEM_PROCESSOR}")
include(CPack)
