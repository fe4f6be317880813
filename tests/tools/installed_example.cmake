file(REMOVE_RECURSE "${WORK}")
function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()
set(flags "-DCMAKE_C_COMPILER=${C_COMPILER}" "-DCMAKE_C_FLAGS=${C_FLAGS}" "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}"
    "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}" "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}")

# Installed, and moved.
run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${WORK}/first" --config "${CONFIG}")
file(RENAME "${WORK}/first" "${WORK}/prefix")
run("${CMAKE_COMMAND}" -G Ninja -S "${SOURCE}/examples" -B "${WORK}/build" "-DCMAKE_PREFIX_PATH=${WORK}/prefix" ${flags})
run("${CMAKE_COMMAND}" --build "${WORK}/build")
run(${EMULATOR} "${WORK}/build/example_solve")
run(${EMULATOR} "${WORK}/build/example_first_solve")
run(${EMULATOR} "${WORK}/build/example_first_solve_cpp")
run(${EMULATOR} "${WORK}/prefix/bin/vyr" --version)

# The archive, for a program in C.
file(GLOB_RECURSE archive "${WORK}/prefix/*/libvyr.a")
if(archive)
  file(CONFIGURE OUTPUT "${WORK}/static/CMakeLists.txt" @ONLY CONTENT [[
    cmake_minimum_required(VERSION 3.25)
    project(host LANGUAGES C)
    find_package(vyr 2.2 REQUIRED COMPONENTS static)
    add_executable(host "@SOURCE@/examples/first_solve.c")
    target_link_libraries(host PRIVATE vyr::vyr_static)]])
  run("${CMAKE_COMMAND}" -G Ninja -S "${WORK}/static" -B "${WORK}/static/build" "-DCMAKE_PREFIX_PATH=${WORK}/prefix"
      ${flags})
  run("${CMAKE_COMMAND}" --build "${WORK}/static/build")
  run(${EMULATOR} "${WORK}/static/build/host")
endif()

# A part of another project, which it leaves alone.
file(CONFIGURE OUTPUT "${WORK}/part/CMakeLists.txt" @ONLY CONTENT [[
  cmake_minimum_required(VERSION 3.25)
  project(host VERSION 1 LANGUAGES C CXX)
  get_cmake_property(before CACHE_VARIABLES)
  add_subdirectory("@SOURCE@" vyr)
  get_cmake_property(after CACHE_VARIABLES)
  list(REMOVE_ITEM after ${before})
  list(FILTER after EXCLUDE REGEX "^(VYR_|vyr_|OpenMP_|FIND_PACKAGE_MESSAGE_DETAILS_|_|VYR)")
  if(after OR CMAKE_BUILD_TYPE OR CMAKE_CXX_VISIBILITY_PRESET OR TARGET vyr_tool OR NOT TARGET vyr::vyrsolver)
    message(FATAL_ERROR "VYR as a part sets ${after}, a build type of '${CMAKE_BUILD_TYPE}', or has the wrong targets")
  endif()]])
run("${CMAKE_COMMAND}" -G Ninja -S "${WORK}/part" -B "${WORK}/part/build" ${flags})
