# The packed folder as a stranger meets it: pack, unpack elsewhere, look, build the example, run it.
file(REMOVE_RECURSE "${WORK}")
file(MAKE_DIRECTORY "${WORK}")
function(run)
  execute_process(COMMAND ${ARGV} WORKING_DIRECTORY "${WORK}" COMMAND_ERROR_IS_FATAL ANY)
endfunction()
cmake_path(GET CMAKE_COMMAND PARENT_PATH programs)
run("${programs}/cpack" -G ZIP --config "${BUILD}/CPackConfig.cmake" -B "${WORK}/pack")
run("${CMAKE_COMMAND}" -E tar xf "${WORK}/pack/${NAME}.zip")
set(root "${WORK}/${NAME}")

set(expected README.md bin/vyr.dll bin/vyr.exe bin/vyrsolver.dll cmake/vyrConfig.cmake cmake/vyrConfigVersion.cmake
    examples/CMakeLists.txt examples/failures.c examples/first_solve.c examples/first_solve_cpp.cpp examples/grid.h
    examples/inertia.c examples/many_right_hand_sides.c examples/progress.c examples/solve.c examples/transient.c
    examples/two_threads.cpp include/vyr.h include/vyr/eigen.hpp include/vyr/solver.h include/vyr/solver.hpp
    lib/libvyr.dll.a lib/libvyrsolver.dll.a lib/vyr.def lib/vyr.lib lib/vyrsolver.def lib/vyrsolver.lib
    licences/AMD.txt licences/CLI11.txt licences/HIGHWAY.txt licences/METIS.txt licences/OpenBLAS.txt licences/VYR.txt
    licences/gcc-runtime.txt licences/mingw-w64.txt licences/zlib.txt)
file(GLOB_RECURSE found RELATIVE "${root}" "${root}/*")
if(NOT "${found}" STREQUAL "${expected}")
  message(FATAL_ERROR "The package holds\n${found}\nand should hold\n${expected}")
endif()

run("${CMAKE_COMMAND}" -G Ninja -S "${root}/examples" -B "${WORK}/example" "-DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}"
    "-Dvyr_DIR=${root}/cmake")
run("${CMAKE_COMMAND}" --build "${WORK}/example")
run("${WINE}" "${WORK}/example/example_solve.exe")
run("${WINE}" "${root}/bin/vyr.exe" --version)

# Microsoft's way of linking, by LLVM's linker of the same manners.
run("${C_COMPILER}" -ffreestanding -fno-stack-protector -O2 -c "${SOURCE}/host_visual_studio.c" -o host.obj)
run("${LLD_LINK}" /nologo /entry:start /subsystem:console /opt:ref /opt:icf /out:host.exe host.obj
    "${root}/lib/vyr.lib" "${KERNEL32}")
file(COPY "${root}/bin/vyr.dll" DESTINATION "${WORK}")
run("${WINE}" "${WORK}/host.exe")
