# What "cmake --install" lays down beside the libraries and the tool. A component is what becomes one Debian package.
include(CMakePackageConfigHelpers)

set(CPACK_COMPONENTS_ALL libvyr2 libvyrsolver1 libvyr-dev vyr python3-vyr)
set(VYR_ZSH_COMPLETIONS "${CMAKE_INSTALL_DATAROOTDIR}/zsh/site-functions" CACHE STRING "folder of zsh's completions")

install(FILES include/vyr.h DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT libvyr-dev)
install(DIRECTORY include/vyr DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}" COMPONENT libvyr-dev)
install(DIRECTORY docs/ DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/libvyr-dev" COMPONENT libvyr-dev)
file(GLOB examples examples/*.c examples/*.cpp examples/*.h examples/CMakeLists.txt)
install(FILES ${examples} DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/libvyr-dev/examples" COMPONENT libvyr-dev)

# find_package(vyr)
set(config "${CMAKE_INSTALL_LIBDIR}/cmake/vyr")
install(EXPORT vyrTargets NAMESPACE vyr:: DESTINATION "${config}" COMPONENT libvyr-dev)
if(VYR_BUILD_STATIC)
  install(EXPORT vyrStaticTargets NAMESPACE vyr:: DESTINATION "${config}" COMPONENT libvyr-dev)
endif()
configure_package_config_file(cmake/package/vyrConfig.cmake.in vyrConfig.cmake INSTALL_DESTINATION "${config}"
                              NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(vyrConfigVersion.cmake VERSION ${PROJECT_VERSION} COMPATIBILITY SameMajorVersion)
install(FILES "${CMAKE_CURRENT_BINARY_DIR}/vyrConfig.cmake" "${CMAKE_CURRENT_BINARY_DIR}/vyrConfigVersion.cmake"
        DESTINATION "${config}" COMPONENT libvyr-dev)

# pkg-config
file(RELATIVE_PATH VYR_PREFIX_FROM_PC "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
foreach(library IN ITEMS vyr vyrsolver)
  get_target_property(VYR_LIBRARY_VERSION ${library} VERSION)
  configure_file(cmake/package/library.pc.in ${library}.pc @ONLY)
  install(FILES "${CMAKE_CURRENT_BINARY_DIR}/${library}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
          COMPONENT libvyr-dev)
endforeach()

# Licences: of this code, and of what is inside the libraries and the tool.
# vyr_install_licence(<name> <file> <component>...)
function(vyr_install_licence name file)
  foreach(component IN LISTS ARGN)
    install(FILES "${file}" DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${component}/licences" RENAME "${name}.txt"
            COMPONENT ${component})
  endforeach()
endfunction()
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/doc/${component}" RENAME copyright
          COMPONENT ${component})
endforeach()
foreach(name IN ITEMS METIS AMD HIGHWAY OPENBLAS)
  if(VYR_${name}_LICENCE)
    vyr_install_licence(${name} "${VYR_${name}_LICENCE}" libvyr2 libvyrsolver1 libvyr-dev)
  endif()
endforeach()

# The tool: page, completion, licence of what is compiled into it.
if(VYR_BUILD_TOOLS)
  if(VYR_CLI11_LICENCE)
    vyr_install_licence(CLI11 "${VYR_CLI11_LICENCE}" vyr)
  endif()
  if(TARGET vyr_man_page)
    install(FILES "${CMAKE_CURRENT_BINARY_DIR}/tools/vyr/vyr.1" DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT vyr)
  endif()
  install(FILES tools/vyr/completion/vyr.bash DESTINATION "${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions"
          RENAME vyr COMPONENT vyr)
  install(FILES tools/vyr/completion/_vyr DESTINATION "${VYR_ZSH_COMPLETIONS}" COMPONENT vyr)
endif()

# The Python package, which finds the library as any program does. Only packages want it: pip is the way otherwise.
install(DIRECTORY python/vyr DESTINATION lib/python3/dist-packages COMPONENT python3-vyr EXCLUDE_FROM_ALL
        FILES_MATCHING PATTERN "*.py" PATTERN py.typed)
