# 64-bit ARM.
set(processor aarch64)
set(triplet aarch64-linux-gnu)
set(architecture arm64)
set(emulator qemu-aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/linux-foreign.cmake)
