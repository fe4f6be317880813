# find_package(vyr) for Visual Studio, MinGW and Clang: the targets vyr::vyr and vyr::vyrsolver. On Windows the DLL
# must lie beside the program that uses it, or in the PATH; examples/CMakeLists.txt copies it.
get_filename_component(_vyr_root "${CMAKE_CURRENT_LIST_DIR}/.." ABSOLUTE)
if(NOT CMAKE_SIZEOF_VOID_P EQUAL 8)
  set(vyr_FOUND FALSE)
  set(vyr_NOT_FOUND_MESSAGE "VYR is a library for 64-bit programs.")
  return()
endif()
foreach(_vyr_library IN ITEMS vyr vyrsolver)
  if(NOT TARGET vyr::${_vyr_library})
    add_library(vyr::${_vyr_library} SHARED IMPORTED)
    set_target_properties(vyr::${_vyr_library} PROPERTIES
      IMPORTED_LOCATION "${_vyr_root}/bin/${_vyr_library}.dll"
      IMPORTED_IMPLIB "${_vyr_root}/lib/lib${_vyr_library}.dll.a"
      INTERFACE_INCLUDE_DIRECTORIES "${_vyr_root}/include")
    if(MSVC)
      set_property(TARGET vyr::${_vyr_library} PROPERTY IMPORTED_IMPLIB "${_vyr_root}/lib/${_vyr_library}.lib")
    endif()
  endif()
endforeach()
unset(_vyr_library)
unset(_vyr_root)
