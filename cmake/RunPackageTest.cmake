# Installs the build in BUILD_DIR into WORK_DIR, builds the client project in SOURCE_DIR against it with the COMPILER and
# CROSS_OPTIONS of that build, and runs it through the EMULATOR. ROOT is the prefix under which programs see the paths
# of the build machine. With IS_PART, the client project includes the sources in BUILD_DIR instead.
function(run_step)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(result)
    message(FATAL_ERROR "${ARGN}\n${output}")
  endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
set(installed ${WORK_DIR}/installed)
if(IS_PART)
  set(options -DTARNKIT_SOURCES=${BUILD_DIR})
else()
  run_step(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${installed})
  set(options -DCMAKE_PREFIX_PATH=${installed} ${CROSS_OPTIONS})
endif()
run_step(${CMAKE_COMMAND} -G Ninja -S ${SOURCE_DIR} -B ${WORK_DIR}/build -DCMAKE_CXX_COMPILER=${COMPILER} ${options})
run_step(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
# Some systems look for libraries in the search path of programs.
run_step(${CMAKE_COMMAND} -E env TARNKIT_REGISTRY=${WORK_DIR}/registry WINEPATH=${ROOT}${installed}/bin
         --modify PATH=path_list_prepend:${installed}/bin ${EMULATOR} ${WORK_DIR}/build/consumer${SUFFIX})
file(REMOVE_RECURSE ${WORK_DIR})
