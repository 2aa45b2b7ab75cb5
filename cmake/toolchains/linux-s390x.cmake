# The mainframe's z/Architecture, whose most significant byte comes first.
set(processor s390x)
set(triplet s390x-linux-gnu)
set(architecture s390x)
set(emulator qemu-s390x)
include(${CMAKE_CURRENT_LIST_DIR}/linux-foreign.cmake)

# The files of locales have the order of bytes of their machine: this one's are of no use there.
list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -E LOCPATH=${packages}/usr/lib/locale)
