# Installs the build in BUILD_DIR into WORK_DIR, builds the client project in SOURCE_DIR against it and runs it.
function(run_step)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(result)
    message(FATAL_ERROR "${ARGN}\n${output}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
run_step(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/installed)
run_step(${CMAKE_COMMAND} -G Ninja -S ${SOURCE_DIR} -B ${WORK_DIR}/build -DCMAKE_CXX_COMPILER=${COMPILER}
         -DCMAKE_PREFIX_PATH=${WORK_DIR}/installed)
run_step(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run_step(${CMAKE_COMMAND} -E env TARNKIT_REGISTRY=${WORK_DIR}/registry ${WORK_DIR}/build/consumer)
file(REMOVE_RECURSE ${WORK_DIR})
