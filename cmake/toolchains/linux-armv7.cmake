# 32-bit ARM with hard floating point.
set(processor armv7l)
set(triplet arm-linux-gnueabihf)
set(architecture armhf)
set(emulator qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/linux-foreign.cmake)

# Everything is built by one compiler, so warnings about the argument passing of other versions do not matter.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
