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

# METIS: a build of our own, so that an ordering touches nothing of the process and can be cancelled.
option(VYR_SYSTEM_METIS "Take the system's METIS instead of building one (docs/hosts.md says what that costs)" OFF)
if(NOT TARGET vyr_metis)
  if(VYR_SYSTEM_METIS)
    find_path(VYR_METIS_INCLUDE metis.h REQUIRED DOC "folder of metis.h, METIS 5.1")
    find_library(VYR_METIS_LIBRARY metis REQUIRED DOC "METIS 5.1")
  else()
    set(VYR_METIS_SCRIPT "${PROJECT_SOURCE_DIR}/cmake/metis/build.sh")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${VYR_METIS_SCRIPT}"
                 "${PROJECT_SOURCE_DIR}/cmake/metis/redirect.h")
    execute_process(COMMAND "${VYR_METIS_SCRIPT}" "${CMAKE_C_COMPILER}" "${CMAKE_AR}"
                    OUTPUT_VARIABLE VYR_METIS_FOLDER OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed)
    if(failed)
      message(FATAL_ERROR "METIS could not be built. -DVYR_SYSTEM_METIS=ON takes the system's instead.")
    endif()
    set(VYR_METIS_INCLUDE "${VYR_METIS_FOLDER}/include")
    set(VYR_METIS_LIBRARY "${VYR_METIS_FOLDER}/lib/libmetis.a")
  endif()
  add_library(vyr_metis INTERFACE)
  target_include_directories(vyr_metis SYSTEM INTERFACE "${VYR_METIS_INCLUDE}")
  target_link_libraries(vyr_metis INTERFACE "${VYR_METIS_LIBRARY}")
endif()
