# The folder of the port that is built, and the libraries of the system that it uses.
if(WIN32)
  if(TARNKIT_GTK OR TARNKIT_QT)
    message(FATAL_ERROR "Windows has windows of its own: set TARNKIT_GTK and TARNKIT_QT to OFF")
  endif()
  set(TARNKIT_PORT windows)
  set(TARNKIT_HAS_WINDOWS_REGISTRY TRUE)
  set(CMAKE_SHARED_LIBRARY_PREFIX "") # Tarnkit-8.51.dll
  set(system_libraries advapi32 ole32 oleaut32 shell32 uuid)
else()
  set(TARNKIT_PORT posix)
  find_package(SQLite3 REQUIRED GLOBAL)
  find_package(Threads REQUIRED GLOBAL)
  set(system_libraries SQLite::SQLite3 Threads::Threads ${CMAKE_DL_LIBS})
endif()

# Whether a test program can define the C library's calls itself: one sanitizer cannot live with that, and under an
# emulator it takes too long.
if(CMAKE_SYSTEM_NAME STREQUAL Linux AND NOT CMAKE_CROSSCOMPILING AND NOT TARNKIT_SANITIZERS MATCHES thread)
  set(TARNKIT_CALLS_CAN_BE_HOOKED TRUE)
endif()

# tarnkit_port_sources(<target> <port> <source>...): adds sources of a single port.
function(tarnkit_port_sources target port)
  if(TARNKIT_PORT STREQUAL port)
    target_sources(${target} PRIVATE ${ARGN})
  endif()
endfunction()

# The compiler options of every target of this project. Not installed: clients choose their own.
add_library(TarnkitOptions INTERFACE)
target_compile_features(TarnkitOptions INTERFACE cxx_std_20)
target_compile_options(TarnkitOptions INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Woverloaded-virtual
  $<$<BOOL:${TARNKIT_WARNINGS_AS_ERRORS}>:-Werror>
  # COM interfaces have no destructor.
  $<$<NOT:$<BOOL:${WIN32}>>:-Wnon-virtual-dtor>
  # GCC assumes that no `operator delete` throws; on ARM an assertion in one could then not propagate.
  -funwind-tables
  -fvisibility=hidden -fvisibility-inlines-hidden -fno-semantic-interposition
  # A unique symbol would keep the library in memory after its last user has released it.
  $<$<CXX_COMPILER_ID:GNU>:-fno-gnu-unique>
  # At -O3, GCC 12 warns of overlaps in `"text" + std::string()` that there are not.
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release>>:-Wno-restrict>
  # ccache can then tell what precompiled headers hold.
  $<$<CXX_COMPILER_ID:GNU>:-fpch-preprocess>)
if(TARNKIT_SANITIZERS)
  target_compile_options(TarnkitOptions INTERFACE
    -fsanitize=${TARNKIT_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(TarnkitOptions INTERFACE -fsanitize=${TARNKIT_SANITIZERS})
endif()
