# Every library the project calls, found here and nowhere else. Debian's package names: cmake/packages.txt.

find_package(OpenMP REQUIRED COMPONENTS CXX)

# OpenBLAS: the OpenMP build, by its own folder. With several builds installed the linker's default is the
# pthread one, whose threads fight with ours: a call from inside our parallel region would start a team.
#
# vyr_openblas_own is the archive, which becomes part of each library and hides its names there, so that no other BLAS
# of a host takes its place; vyr_openblas_shared is the shared library.
set(VYR_BLAS own CACHE STRING "own: an OpenBLAS inside the libraries; shared: the one of the process (docs/hosts.md)")
set_property(CACHE VYR_BLAS PROPERTY STRINGS own shared)
# vyr_find_openblas(<kind> <variable> <file name>...)
function(vyr_find_openblas kind variable)
  find_library(${variable} NAMES ${ARGN}
    PATHS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/openblas-openmp /usr/lib64/openblas-openmp /usr/lib/openblas-openmp
    NO_DEFAULT_PATH DOC "OpenBLAS, built with OpenMP (${kind})")
  add_library(vyr_openblas_${kind} INTERFACE)
  target_link_libraries(vyr_openblas_${kind} INTERFACE "${${variable}}")
  if(kind STREQUAL VYR_BLAS AND NOT ${variable})
    message(FATAL_ERROR "The OpenMP build of OpenBLAS was not found (Debian: libopenblas-openmp-dev). "
                        "Set ${variable} to it, or -DVYR_BLAS to the other of own and shared.")
  endif()
endfunction()
vyr_find_openblas(own VYR_OPENBLAS_ARCHIVE libopenblas.a)
if(VYR_BLAS STREQUAL "own")
  find_file(VYR_OPENBLAS_LICENCE copyright PATHS /usr/share/doc/libopenblas-openmp-dev NO_DEFAULT_PATH
            DOC "licence of OpenBLAS, which is inside")
endif()
vyr_find_openblas(shared VYR_OPENBLAS_LIBRARY openblas)
if(NOT WIN32) # own_blas.cpp says what for
  target_link_options(vyr_openblas_own INTERFACE "LINKER:--wrap=getenv,--wrap=blas_thread_init")
endif()

# Highway: its headers alone, which are the same on every system; the folder they are in has others, which a cross
# build must not see.
find_path(VYR_HIGHWAY_INCLUDE hwy/highway.h PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH DOC "folder of hwy/highway.h")
if(NOT VYR_HIGHWAY_INCLUDE)
  message(FATAL_ERROR "Highway was not found (Debian: libhwy-dev). Set VYR_HIGHWAY_INCLUDE to the folder of hwy/highway.h.")
endif()
file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/highway")
file(CREATE_LINK "${VYR_HIGHWAY_INCLUDE}/hwy" "${PROJECT_BINARY_DIR}/highway/hwy" SYMBOLIC)
if(EXISTS /usr/share/doc/libhwy-dev/copyright) # its templates are inside
  set(VYR_HIGHWAY_LICENCE "${PROJECT_BINARY_DIR}/highway/HIGHWAY.txt")
  file(READ /usr/share/doc/libhwy-dev/copyright copyright)
  file(READ /usr/share/common-licenses/Apache-2.0 licence)
  file(WRITE "${VYR_HIGHWAY_LICENCE}" "${copyright}\n\n${licence}")
endif()
add_library(vyr_highway INTERFACE)
target_include_directories(vyr_highway SYSTEM INTERFACE "${PROJECT_BINARY_DIR}/highway")

# METIS and AMD: builds of our own, so that an ordering touches nothing of the process and can be cancelled.
option(VYR_SYSTEM_METIS "Take the system's METIS and AMD instead of building them (docs/hosts.md says what that costs)"
       OFF)
# vyr_find_ordering(<name> <header>): the target vyr_<name>, of the system or built by
# cmake/<name>/build.sh, which leaves VYR_<NAME>_LICENCE.
function(vyr_find_ordering name header)
  string(TOUPPER ${name} upper)
  if(VYR_SYSTEM_METIS)
    find_path(VYR_${upper}_INCLUDE ${header} PATH_SUFFIXES suitesparse REQUIRED DOC "folder of ${header}")
    find_library(VYR_${upper}_LIBRARY ${name} REQUIRED DOC "${upper}")
    set(include "${VYR_${upper}_INCLUDE}")
    set(library "${VYR_${upper}_LIBRARY}")
  else()
    file(GLOB sources "${PROJECT_SOURCE_DIR}/cmake/${name}/*")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${sources}
                 "${PROJECT_SOURCE_DIR}/cmake/from-debian.sh")
    execute_process(COMMAND "${PROJECT_SOURCE_DIR}/cmake/${name}/build.sh" "${CMAKE_C_COMPILER}" "${CMAKE_AR}"
                    OUTPUT_VARIABLE folder OUTPUT_STRIP_TRAILING_WHITESPACE RESULT_VARIABLE failed)
    if(failed)
      message(FATAL_ERROR "${upper} could not be built. -DVYR_SYSTEM_METIS=ON takes the system's instead.")
    endif()
    set(VYR_${upper}_LICENCE "${folder}/licence/${upper}.txt" PARENT_SCOPE) # is inside
    set(include "${folder}/include")
    set(library "${folder}/lib/lib${name}.a")
  endif()
  add_library(vyr_${name} INTERFACE)
  target_include_directories(vyr_${name} SYSTEM INTERFACE "${include}")
  target_link_libraries(vyr_${name} INTERFACE "${library}")
endfunction()
if(NOT TARGET vyr_metis)
  vyr_find_ordering(metis metis.h)
  vyr_find_ordering(amd amd.h)
  target_link_libraries(vyr_metis INTERFACE vyr_amd)
endif()
