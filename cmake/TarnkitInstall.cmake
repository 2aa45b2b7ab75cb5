# What `cmake --install` installs where, including the package that find_package(Tarnkit) finds.
include(CMakePackageConfigHelpers)

set(package_folder ${CMAKE_INSTALL_LIBDIR}/cmake/Tarnkit)

# Clients link Tarnkit::Tarnkit, which is the static part and with it the library.
set_target_properties(TarnkitStatic PROPERTIES EXPORT_NAME Tarnkit)
set_target_properties(Tarnkit PROPERTIES EXPORT_NAME Library)

install(TARGETS Tarnkit TarnkitStatic tarnmsg EXPORT TarnkitTargets)
# The translations of the library's own texts; an application ships those for its languages.
install(TARGETS Tarnkit1 Tarnkit2 LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/tarnkit)
if(WIN32)
  install(FILES ${exceptions_library} DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(FILES ${runtime_files} DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(DIRECTORY include/tarnkit DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT TarnkitTargets NAMESPACE Tarnkit:: DESTINATION ${package_folder})

configure_package_config_file(cmake/TarnkitConfig.cmake.in ${PROJECT_BINARY_DIR}/TarnkitConfig.cmake
  INSTALL_DESTINATION ${package_folder})
# Clients are compiled again for a new version, whose headers serve what those of older ones did.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/TarnkitConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/TarnkitConfig.cmake ${PROJECT_BINARY_DIR}/TarnkitConfigVersion.cmake
              cmake/TarnkitMessages.cmake
        DESTINATION ${package_folder})
