file(REMOVE_RECURSE "${WORK}")
function(run)
  execute_process(COMMAND ${ARGV} COMMAND_ERROR_IS_FATAL ANY)
endfunction()
run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${WORK}/prefix" --config "${CONFIG}")
run("${CMAKE_COMMAND}" -G Ninja -S "${SOURCE}" -B "${WORK}/build" "-DCMAKE_PREFIX_PATH=${WORK}/prefix"
    "-DCMAKE_C_COMPILER=${C_COMPILER}" "-DCMAKE_C_FLAGS=${C_FLAGS}"
    "-DCMAKE_CXX_COMPILER=${CXX_COMPILER}" "-DCMAKE_CXX_FLAGS=${CXX_FLAGS}")
run("${CMAKE_COMMAND}" --build "${WORK}/build")
run("${WORK}/build/example_solve")
run("${WORK}/build/example_first_solve")
run("${WORK}/build/example_first_solve_cpp")
