# 32-bit ARM with hard floating point, run under qemu-user. What Debian packs for armhf beyond the compiler's own
# libraries (SQLite, the tables of iconv) is unpacked into build/foreign/armhf.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(triplet arm-linux-gnueabihf)
set(CMAKE_C_COMPILER ${triplet}-gcc)
set(CMAKE_CXX_COMPILER ${triplet}-g++)

cmake_path(SET packages NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/foreign/armhf)
set(CMAKE_LIBRARY_ARCHITECTURE ${triplet})
set(CMAKE_FIND_ROOT_PATH ${packages} /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Everything is built by one compiler, so warnings about the argument passing of other versions do not matter.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
# Where the linker finds what a shared library needs.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,\"${packages}/usr/lib/${triplet}\"")

set(CMAKE_CROSSCOMPILING_EMULATOR
  qemu-arm -L /usr/${triplet} -E GCONV_PATH=${packages}/usr/lib/${triplet}/gconv
  -E LD_LIBRARY_PATH=${packages}/usr/lib/${triplet})
