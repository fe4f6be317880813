# Writes the linker's export lists from cmake/exports.txt and cmake/solver-exports.txt: a version script for ELF, a
# .def for Windows.
function(vyr_write_exports library names_file)
  file(STRINGS "${PROJECT_SOURCE_DIR}/cmake/${names_file}" exports)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/${names_file}")
  list(JOIN exports ";\n    " names)
  file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/${library}.map"
       CONTENT "{\n  global:\n    @names@;\n  local:\n    *;\n};\n" @ONLY)
  list(JOIN exports "\n    " names)
  file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/${library}.def"
       CONTENT "LIBRARY ${library}.dll\nEXPORTS\n    @names@\n" @ONLY)
endfunction()

vyr_write_exports(vyr exports.txt)
vyr_write_exports(vyrsolver solver-exports.txt)
