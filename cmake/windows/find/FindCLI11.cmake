# CLI11 is headers alone, so this system's serve Windows as well. They are linked into a folder of their own:
# the folder they come from holds this system's C headers too.
find_path(VYR_CLI11_INCLUDE CLI/CLI.hpp PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH DOC "folder of CLI/CLI.hpp")
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(CLI11 REQUIRED_VARS VYR_CLI11_INCLUDE)
if(CLI11_FOUND AND NOT TARGET CLI11::CLI11)
  file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/headers")
  file(CREATE_LINK "${VYR_CLI11_INCLUDE}/CLI" "${PROJECT_BINARY_DIR}/headers/CLI" SYMBOLIC)
  add_library(CLI11::CLI11 INTERFACE IMPORTED GLOBAL)
  target_include_directories(CLI11::CLI11 INTERFACE "${PROJECT_BINARY_DIR}/headers")
endif()
