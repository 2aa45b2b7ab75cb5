# Which of the two ports of the door is built, by the name of its folder.
if(WIN32)
  set(TARNKIT_PORT windows)
  set(CMAKE_SHARED_LIBRARY_PREFIX "") # Tarnkit.dll
else()
  set(TARNKIT_PORT posix)
endif()

# tarnkit_port_sources(<target> <port> <source>...): sources that one port alone has.
function(tarnkit_port_sources target port)
  if(TARNKIT_PORT STREQUAL port)
    target_sources(${target} PRIVATE ${ARGN})
  endif()
endfunction()

# How every target of this project is compiled. Not installed: clients compile as they like.
add_library(TarnkitOptions INTERFACE)
target_compile_features(TarnkitOptions INTERFACE cxx_std_20)
target_compile_options(TarnkitOptions INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Woverloaded-virtual -Werror
  # The interfaces of COM have no destructor at all.
  $<$<NOT:$<BOOL:${WIN32}>>:-Wnon-virtual-dtor>
  # GCC takes it that no `operator delete` throws; on ARM an assertion in one could then not get out.
  -funwind-tables
  -fvisibility=hidden -fvisibility-inlines-hidden -fno-semantic-interposition
  # A unique symbol would keep the library in memory after its last user has let it go.
  $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>)
if(TARNKIT_SANITIZERS)
  target_compile_options(TarnkitOptions INTERFACE
    -fsanitize=${TARNKIT_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(TarnkitOptions INTERFACE -fsanitize=${TARNKIT_SANITIZERS})
endif()
