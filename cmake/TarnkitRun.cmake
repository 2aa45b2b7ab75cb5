# Writes `run` into the build folder: a command that runs a program of this build on the build machine, whatever
# system it is built for: run PROGRAM [ARGUMENT...].
list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "' '" TARNKIT_EMULATOR_COMMAND) # as a shell reads it; empty where none is needed
if(TARNKIT_EMULATOR_COMMAND)
  set(TARNKIT_EMULATOR_COMMAND "'${TARNKIT_EMULATOR_COMMAND}' ")
endif()
file(WRITE ${PROJECT_BINARY_DIR}/run "#!/bin/sh
program=$1
shift
exec ${TARNKIT_EMULATOR_COMMAND}'${CMAKE_RUNTIME_OUTPUT_DIRECTORY}'/\"$program${CMAKE_EXECUTABLE_SUFFIX}\" \"$@\"
")
file(CHMOD ${PROJECT_BINARY_DIR}/run FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE)

# For scripts that build clients as this build is.
file(WRITE ${PROJECT_BINARY_DIR}/compiler.txt "${CMAKE_CXX_COMPILER}")
file(WRITE ${PROJECT_BINARY_DIR}/emulator.txt "${CMAKE_CROSSCOMPILING_EMULATOR}")

# The prefix of the build machine's paths as programs of this build see them: under Wine, a drive.
set(TARNKIT_HOST_ROOT "")
if(CMAKE_CROSSCOMPILING AND WIN32)
  set(TARNKIT_HOST_ROOT Z:)
endif()
