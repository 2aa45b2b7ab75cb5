# Linux on a processor that the build machine does not have, run under qemu-user. The file that includes this one sets the
# processor, the triplet of its compiler, the name of its Debian architecture and that of its emulator. What Debian packs
# for it beyond the compiler's own libraries (SQLite, the tables of iconv) is unpacked into build/foreign/ARCHITECTURE.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${processor})
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)

cmake_path(SET packages NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/foreign/${architecture})
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})
set(CMAKE_FIND_ROOT_PATH ${packages} /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Where the linker finds what a shared library needs.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,\"${packages}/usr/lib/${triplet}\"")

set(CMAKE_CROSSCOMPILING_EMULATOR
  ${emulator} -L /usr/${triplet} -E GCONV_PATH=${packages}/usr/lib/${triplet}/gconv
  -E LD_LIBRARY_PATH=${packages}/usr/lib/${triplet})
