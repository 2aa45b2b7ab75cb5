# What `cmake --install` installs where, including the packages that find_package(Tarnkit) and pkg-config find. Its
# components: runtime is what a program needs that was linked with the library, development what is needed to link one,
# languages the translations of the library's own texts, tools the message compiler; gtk and qt the window systems of
# these toolkits, gtk-development and qt-development what is needed to link them.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Tarnkit)
set(languages_folder ${CMAKE_INSTALL_LIBDIR}/tarnkit)

# Clients link Tarnkit::Tarnkit, which is the static part and with it the library.
set_target_properties(TarnkitStatic PROPERTIES EXPORT_NAME Tarnkit)
set_target_properties(Tarnkit PROPERTIES EXPORT_NAME Library)

install(TARGETS Tarnkit TarnkitStatic EXPORT TarnkitTargets
  RUNTIME COMPONENT runtime
  LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development)
install(TARGETS tarnmsg EXPORT TarnkitTools COMPONENT tools)
install(TARGETS tarnreg COMPONENT tools)
install(TARGETS Tarnreg0 Tarnreg1 Tarnreg2 LIBRARY DESTINATION ${languages_folder} COMPONENT tools)
# Manual pages are compressed where there is gzip, as Debian wants them.
find_program(TARNKIT_GZIP gzip)
foreach(tool IN ITEMS tarnmsg tarnreg)
  set(manual ${PROJECT_SOURCE_DIR}/tools/${tool}/${tool}.1)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${manual})
  if(TARNKIT_GZIP)
    execute_process(COMMAND ${TARNKIT_GZIP} -9nc ${manual} OUTPUT_FILE ${PROJECT_BINARY_DIR}/${tool}.1.gz
                    COMMAND_ERROR_IS_FATAL ANY)
    set(manual ${PROJECT_BINARY_DIR}/${tool}.1.gz)
  endif()
  install(FILES ${manual} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
endforeach()
install(TARGETS Tarnkit1 Tarnkit2 LIBRARY DESTINATION ${languages_folder} COMPONENT languages)
# What a further translation starts from.
install(FILES ${library_catalogue} ${PROJECT_BINARY_DIR}/catalogue/Tarnkit.pot DESTINATION ${languages_folder}
  COMPONENT languages)
if(WIN32 AND TARNKIT_SHARED)
  install(FILES ${exceptions_library} DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
  install(FILES ${runtime_files} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
endif()
install(DIRECTORY include/tarnkit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development
  PATTERN gtk_windows.h EXCLUDE PATTERN qt_windows.h EXCLUDE)
set(toolkits)
foreach(name IN ITEMS Gtk Qt)
  if(NOT TARGET Tarnkit${name})
    continue()
  endif()
  string(TOLOWER ${name} toolkit)
  list(APPEND toolkits ${toolkit})
  install(TARGETS Tarnkit${name} EXPORT Tarnkit${name}
    LIBRARY COMPONENT ${toolkit} NAMELINK_COMPONENT ${toolkit}-development)
  install(FILES include/tarnkit/${toolkit}_windows.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tarnkit
    COMPONENT ${toolkit}-development)
  install(EXPORT Tarnkit${name} NAMESPACE Tarnkit:: DESTINATION ${package_folder} COMPONENT ${toolkit}-development)
endforeach()
install(EXPORT TarnkitTargets NAMESPACE Tarnkit:: DESTINATION ${package_folder} COMPONENT development)
install(EXPORT TarnkitTools NAMESPACE Tarnkit:: DESTINATION ${package_folder} COMPONENT tools)

configure_package_config_file(cmake/TarnkitConfig.cmake.in ${PROJECT_BINARY_DIR}/TarnkitConfig.cmake
  INSTALL_DESTINATION ${package_folder} PATH_VARS languages_folder)
# Clients are compiled again for a new version, whose headers serve what those of older ones did.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TarnkitConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TarnkitConfig.cmake ${PROJECT_BINARY_DIR}/TarnkitConfigVersion.cmake
              cmake/TarnkitMessages.cmake
        DESTINATION ${package_folder} COMPONENT development)

# For other build systems. Its paths start from the file itself, so that the whole can be moved.
set(pkgconfig_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
function(set_pkgconfig_path variable folder)
  cmake_path(IS_ABSOLUTE folder is_absolute)
  if(NOT is_absolute)
    cmake_path(RELATIVE_PATH folder BASE_DIRECTORY ${pkgconfig_folder})
    set(folder "\${pcfiledir}/${folder}")
  endif()
  set(${variable} ${folder} PARENT_SCOPE)
endfunction()
set_pkgconfig_path(PKGCONFIG_BINDIR ${CMAKE_INSTALL_BINDIR})
set_pkgconfig_path(PKGCONFIG_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR})
set_pkgconfig_path(PKGCONFIG_LIBDIR ${CMAKE_INSTALL_LIBDIR})
set_pkgconfig_path(PKGCONFIG_LANGUAGESDIR ${languages_folder})
# What Tarnkit::Tarnkit brings with it.
get_target_property(link_options TarnkitStatic INTERFACE_LINK_OPTIONS)
list(TRANSFORM link_options REPLACE "^LINKER:" "-Wl,")
list(FILTER link_options EXCLUDE REGEX "BUILD_INTERFACE")
list(TRANSFORM link_options REPLACE "^\\$<INSTALL_INTERFACE:SHELL:(.*)>$" "\\1")
list(TRANSFORM link_options REPLACE "\"[^\"]*/([^/\"]+)\"" "\${libdir}/\\1")
list(JOIN link_options " " PKGCONFIG_OPTIONS)
set(PKGCONFIG_SYSTEM_LIBRARIES "")
set(PKGCONFIG_DEFINITIONS "")
if(NOT TARNKIT_SHARED)
  set(PKGCONFIG_DEFINITIONS " -DTARNKIT_STATIC")
  list(TRANSFORM system_libraries REPLACE "^SQLite::SQLite3$" sqlite3)
  list(TRANSFORM system_libraries REPLACE "^([a-z0-9]+)$" " -l\\1")
  list(TRANSFORM system_libraries REPLACE "^Threads::Threads$" " -pthread")
  list(JOIN system_libraries "" PKGCONFIG_SYSTEM_LIBRARIES)
endif()
configure_file(cmake/tarnkit.pc.in ${PROJECT_BINARY_DIR}/tarnkit.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tarnkit.pc DESTINATION ${pkgconfig_folder} COMPONENT development)

if(PROJECT_IS_TOP_LEVEL)
  include(cmake/TarnkitPackages.cmake)
  add_custom_target(uninstall
    COMMAND ${CMAKE_COMMAND} -DBUILD_DIR=${PROJECT_BINARY_DIR} -P ${PROJECT_SOURCE_DIR}/cmake/Uninstall.cmake
    COMMENT "Removing what the last installation from this build has put there" VERBATIM)
endif()
