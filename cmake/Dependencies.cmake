# Every library the project calls, found here and nowhere else. Debian's package names: cmake/packages.txt.

find_package(OpenMP REQUIRED COMPONENTS CXX)

# OpenBLAS: the OpenMP build, by its own folder. With several builds installed the linker's default is the
# pthread one, whose threads fight with ours: a call from inside our parallel region would start a team.
if(NOT TARGET vyr_openblas)
  find_library(VYR_OPENBLAS_LIBRARY NAMES openblas
    PATHS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/openblas-openmp /usr/lib64/openblas-openmp /usr/lib/openblas-openmp
    NO_DEFAULT_PATH DOC "OpenBLAS with LAPACK, built with OpenMP")
  if(NOT VYR_OPENBLAS_LIBRARY)
    message(FATAL_ERROR "The OpenMP build of OpenBLAS was not found (Debian: libopenblas-openmp-dev). "
                        "Set VYR_OPENBLAS_LIBRARY to it.")
  endif()
  add_library(vyr_openblas INTERFACE)
  target_link_libraries(vyr_openblas INTERFACE "${VYR_OPENBLAS_LIBRARY}")
endif()

if(NOT TARGET vyr_metis)
  find_path(VYR_METIS_INCLUDE metis.h REQUIRED DOC "folder of metis.h, METIS 5.1")
  find_library(VYR_METIS_LIBRARY metis REQUIRED DOC "METIS 5.1")
  add_library(vyr_metis INTERFACE)
  target_include_directories(vyr_metis SYSTEM INTERFACE "${VYR_METIS_INCLUDE}")
  target_link_libraries(vyr_metis INTERFACE "${VYR_METIS_LIBRARY}")
endif()
