# Writes the linker's export lists from cmake/exports.txt: a version script for ELF, a .def for Windows.
file(STRINGS "${PROJECT_SOURCE_DIR}/cmake/exports.txt" VYR_EXPORTS)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${PROJECT_SOURCE_DIR}/cmake/exports.txt")

list(JOIN VYR_EXPORTS ";\n    " names)
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/vyr.map" CONTENT "{\n  global:\n    @names@;\n  local:\n    *;\n};\n" @ONLY)
list(JOIN VYR_EXPORTS "\n    " names)
file(CONFIGURE OUTPUT "${PROJECT_BINARY_DIR}/vyr.def" CONTENT "LIBRARY vyr.dll\nEXPORTS\n    @names@\n" @ONLY)
