# Installs the build in BUILD_DIR, moves what is installed into WORK_DIR, builds the client project in CLIENT_DIR against
# it with the COMPILER and CROSS_OPTIONS of that build, runs it through the EMULATOR, and uninstalls. ROOT is the prefix
# under which programs see the paths of the build machine. With STATIC_OPTIONS, a static library is first built from the
# sources in SOURCE_DIR and takes the place of the build; with IS_PART, the client project includes these sources
# instead; with INSTALLED, that folder is used as it is. With PKG_CONFIG the client is built without CMake too. TOOLKITS
# are those, separated by spaces, whose window systems are installed.
function(run_step)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(result)
    message(FATAL_ERROR "${ARGN}\n${output}")
  endif()
endfunction()

function(refuse_paths) # in what is to work anywhere
  file(GLOB_RECURSE files ${installed}/*.cmake ${installed}/*.pc)
  foreach(file IN LISTS files)
    file(READ ${file} text)
    foreach(path IN ITEMS ${BUILD_DIR} ${SOURCE_DIR} ${WORK_DIR} /opt/tarnkit)
      string(REGEX REPLACE "([][+.*()^$?|\\])" "\\\\\\1" pattern ${path})
      if(" ${text}" MATCHES "([^A-Za-z0-9_}.-]|-[IL]|-isystem)${pattern}") # not where a longer path ends like it
        message(FATAL_ERROR "${file} contains ${path}")
      endif()
    endforeach()
  endforeach()
endfunction()

function(run_consumer program)
  # Some systems look for libraries in the search path of programs.
  run_step(${CMAKE_COMMAND} -E env TARNKIT_REGISTRY=${WORK_DIR}/registry WINEPATH=${ROOT}${installed}/bin
           --modify PATH=path_list_prepend:${installed}/bin ${EMULATOR} ${program})
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
set(installed ${WORK_DIR}/installed)
set(stage ${WORK_DIR}/stage)
if(STATIC_OPTIONS)
  set(BUILD_DIR ${WORK_DIR}/static)
  run_step(${CMAKE_COMMAND} -G Ninja -S ${SOURCE_DIR} -B ${BUILD_DIR} -DCMAKE_CXX_COMPILER=${COMPILER}
           ${CROSS_OPTIONS} ${STATIC_OPTIONS})
  run_step(${CMAKE_COMMAND} --build ${BUILD_DIR})
endif()
if(IS_PART)
  set(options -DTARNKIT_SOURCES=${SOURCE_DIR} -DTARNKIT_PRECOMPILE_HEADERS=ON)
elseif(INSTALLED)
  set(installed ${INSTALLED})
  refuse_paths()
  file(GLOB_RECURSE config ${installed}/TarnkitConfig.cmake)
  cmake_path(GET config PARENT_PATH config)
  set(options -DTarnkit_DIR=${config} ${CROSS_OPTIONS})
else()
  run_step(${CMAKE_COMMAND} -E env DESTDIR=${stage} ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix /opt/tarnkit)
  file(COPY ${stage}/opt/tarnkit/ DESTINATION ${installed})
  refuse_paths()
  set(options -DCMAKE_PREFIX_PATH=${installed} ${CROSS_OPTIONS})
endif()
run_step(${CMAKE_COMMAND} -G Ninja -S ${CLIENT_DIR} -B ${WORK_DIR}/build -DCMAKE_CXX_COMPILER=${COMPILER} ${options}
         "-DTOOLKITS=${TOOLKITS}")
run_step(${CMAKE_COMMAND} --build ${WORK_DIR}/build)
run_consumer(${WORK_DIR}/build/consumer${SUFFIX})
string(REPLACE " " ";" toolkits "${TOOLKITS}")
foreach(toolkit IN LISTS toolkits)
  run_step(${CMAKE_COMMAND} -E env --unset=DISPLAY --unset=WAYLAND_DISPLAY QT_QPA_PLATFORM=offscreen
           ${WORK_DIR}/build/windows${toolkit})
endforeach()
if(PKG_CONFIG)
  file(GLOB_RECURSE description ${installed}/tarnkit.pc)
  cmake_path(GET description PARENT_PATH folder)
  file(MAKE_DIRECTORY ${WORK_DIR}/pkg-config)
  run_step(${CMAKE_COMMAND} -E env PKG_CONFIG_PATH=${folder} PKG_CONFIG=${PKG_CONFIG} CXX=${COMPILER}
           ${CLIENT_DIR}/build-with-pkg-config ${WORK_DIR}/pkg-config)
  run_consumer(${WORK_DIR}/pkg-config/consumer)
endif()
if(NOT IS_PART AND NOT INSTALLED)
  run_step(${CMAKE_COMMAND} -E env DESTDIR=${stage} ${CMAKE_COMMAND} --build ${BUILD_DIR} --target uninstall)
  file(GLOB_RECURSE rest LIST_DIRECTORIES true ${stage}/opt/tarnkit/*)
  list(FILTER rest EXCLUDE REGEX "/(bin|include|lib|of|8|cmake|pkgconfig)$")
  if(rest)
    message(FATAL_ERROR "Not uninstalled: ${rest}")
  endif()
endif()
file(REMOVE_RECURSE ${WORK_DIR})
