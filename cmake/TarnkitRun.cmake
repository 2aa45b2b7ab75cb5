# Writes `run` into the build folder: a command that runs a program of this build, whatever system it is built for:
# run PROGRAM [ARGUMENT...].
list(JOIN CMAKE_CROSSCOMPILING_EMULATOR "' '" emulator)
if(emulator)
  string(PREPEND emulator "'")
  string(APPEND emulator "' ")
endif()
file(WRITE ${PROJECT_BINARY_DIR}/run "#!/bin/sh
program=$1
shift
exec ${emulator}'${CMAKE_RUNTIME_OUTPUT_DIRECTORY}'/\"$program${CMAKE_EXECUTABLE_SUFFIX}\" \"$@\"
")
file(CHMOD ${PROJECT_BINARY_DIR}/run FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE)
