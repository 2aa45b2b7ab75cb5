# Shared by both Windows targets; `triplet` names the compilers. The `-posix` ones support the threads of the standard
# library. Programs run under Wine, with a separate prefix in the build folder.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${triplet}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${triplet})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

if(NOT CMAKE_HOST_WIN32)
  # Wine writes file names in the encoding of the locale, which may lack characters of some names. Its debugger would
  # outlive a program that crashes, as some tests let a program do, and keep the test waiting.
  set(wine_settings ${CMAKE_COMMAND} -E env LC_ALL=C.UTF-8 WINEPREFIX=${CMAKE_BINARY_DIR}/wine WINEDEBUG=-all
    WINEDLLOVERRIDES=mscoree,mshtml,winedbg.exe,winemenubuilder.exe= ${wine_environment})
  set(CMAKE_CROSSCOMPILING_EMULATOR ${wine_settings} wine)
  set(TARNKIT_EMULATOR_SETUP ${wine_settings} ${CMAKE_CURRENT_LIST_DIR}/start_wine)
endif()
