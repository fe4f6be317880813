# find_package(vyr) for Visual Studio, MinGW and Clang: the target vyr::vyr. On Windows the DLL must lie beside
# the program that uses it, or in the PATH; examples/CMakeLists.txt copies it.
get_filename_component(_vyr_root "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
if(NOT CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(vyr_FOUND FALSE)
  set(vyr_NOT_FOUND_MESSAGE "VYR is a library for 64-bit programs.")
  return()
endif()
if(NOT TARGET vyr::vyr)
  add_library(vyr::vyr SHARED IMPORTED)
  set_target_properties(vyr::vyr PROPERTIES
    IMPORTED_LOCATION "${_vyr_root}/bin/vyr.dll"
    IMPORTED_IMPLIB "${_vyr_root}/lib/libvyr.dll.a"
    INTERFACE_INCLUDE_DIRECTORIES "${_vyr_root}/include")
  if(MSVC)
    set_property(TARGET vyr::vyr PROPERTY IMPORTED_IMPLIB "${_vyr_root}/lib/vyr.lib")
  endif()
endif()
unset(_vyr_root)
