# GoogleTest is built along from its sources (Debian: googletest).
find_path(VYR_GTEST_SOURCE src/gtest-all.cc PATHS /usr/src/googletest/googletest NO_CMAKE_FIND_ROOT_PATH
  DOC "folder of GoogleTest's sources")
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(GTest REQUIRED_VARS VYR_GTEST_SOURCE)
if(GTest_FOUND AND NOT TARGET GTest::gtest)
  set(INSTALL_GTEST OFF)
  add_subdirectory("${VYR_GTEST_SOURCE}" "${PROJECT_BINARY_DIR}/gtest" EXCLUDE_FROM_ALL SYSTEM)
  foreach(library IN ITEMS gtest gtest_main)
    if(NOT TARGET GTest::${library})
      add_library(GTest::${library} ALIAS ${library})
    endif()
  endforeach()
endif()
