# The 64-bit Wine runs 32-bit programs when it finds the 32-bit modules of the i386 package, which are unpacked into
# build/foreign/i386.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(triplet i686-w64-mingw32)
cmake_path(SET packages NORMALIZE ${CMAKE_CURRENT_LIST_DIR}/../../build/foreign/i386)
set(wine_environment WINEDLLPATH=${packages}/usr/lib/i386-linux-gnu/wine)
include(${CMAKE_CURRENT_LIST_DIR}/windows.cmake)
