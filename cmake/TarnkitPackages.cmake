# What CPack makes of an installation: three Debian packages and two for each toolkit, or one archive for another
# processor or for Windows. scripts/package runs it.
set(CPACK_PACKAGE_VENDOR "Tarnkit")
set(CPACK_PACKAGE_CONTACT "Tarnkit maintainers <maintainers@example.org>" CACHE STRING "Who answers for the packages")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

if(WIN32 OR CMAKE_CROSSCOMPILING)
  set(CPACK_GENERATOR TGZ)
  if(WIN32)
    set(CPACK_GENERATOR ZIP)
  endif()
  string(TOLOWER "tarnkit-${PROJECT_VERSION}-${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR}" CPACK_PACKAGE_FILE_NAME)
  include(CPack)
  return()
endif()

set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING ONE_PER_GROUP)
set(groups runtime development tools)
foreach(toolkit IN LISTS toolkits)
  list(APPEND groups ${toolkit} ${toolkit}-development)
endforeach()
set(CPACK_COMPONENTS_ALL ${groups} languages)
foreach(group IN LISTS groups)
  list(APPEND CPACK_COMPONENTS_ALL documents-${group})
endforeach()
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

# debian_package(<group> <name> <section> <depends> <summary> <text>)
function(debian_package group name section depends summary text)
  string(TOUPPER ${group} GROUP)
  foreach(setting IN ITEMS "PACKAGE_NAME;${name}" "FILE_NAME;DEB-DEFAULT" "PACKAGE_SECTION;${section}"
                           "PACKAGE_DEPENDS;${depends}" "DESCRIPTION;${summary}\n${text}")
    list(POP_FRONT setting key)
    set(CPACK_DEBIAN_${GROUP}_${key} "${setting}" PARENT_SCOPE)
  endforeach()
  set(folder ${PROJECT_BINARY_DIR}/debian/${name})
  string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC) # heeds SOURCE_DATE_EPOCH
  file(CONFIGURE OUTPUT ${folder}/changelog.Debian CONTENT "tarnkit (${PROJECT_VERSION}-1) unstable; urgency=medium

  * Version ${PROJECT_VERSION}; CHANGELOG.md in the sources says what is new.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")
  file(CONFIGURE OUTPUT ${folder}/copyright CONTENT "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: Tarnkit
Upstream-Contact: ${CPACK_PACKAGE_CONTACT}

Files: *
Copyright: 2026 the authors of Tarnkit
License: Tarnkit
 The terms are those under which you received the sources; this package grants no others.
")
  execute_process(COMMAND gzip -9nf ${folder}/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)
  install(FILES ${folder}/changelog.Debian.gz ${folder}/copyright
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${name} COMPONENT documents-${group} EXCLUDE_FROM_ALL)
endfunction()
set(library libtarnkit${PROJECT_VERSION})
debian_package(runtime ${library} libs "" "${PROJECT_DESCRIPTION}, shared library"
  "Memory managers, strings, containers, exceptions, translated messages, times,\nfiles and archives, settings, plug-in modules and interface languages.\nThis package has what programs need that were built with it.")
debian_package(development libtarnkit-dev libdevel
  "${library} (= ${PROJECT_VERSION}-1), tarnkit-tools (= ${PROJECT_VERSION}-1), libsqlite3-dev"
  "${PROJECT_DESCRIPTION}, development files"
  "Headers, the static part of client modules, the packages for CMake and\npkg-config, and the library's texts in other languages, which programs ship.")
debian_package(tools tarnkit-tools devel "${library} (= ${PROJECT_VERSION}-1)" "${PROJECT_DESCRIPTION}, tools"
  "The message compiler, which makes resource modules from catalogues of\nmessages in the PO format, and the tool of the registry.")
foreach(toolkit IN LISTS toolkits)
  string(REGEX REPLACE "^gtk$" "GTK" name ${toolkit})
  string(REGEX REPLACE "^qt$" "Qt" name ${name})
  set(toolkit_library libtarnkit-${toolkit}${PROJECT_VERSION})
  debian_package(${toolkit} ${toolkit_library} libs "${library} (= ${PROJECT_VERSION}-1)"
    "${PROJECT_DESCRIPTION}, windows of ${name}"
    "Shows the message boxes of programs that use ${name}, on the thread of their\nwindows, whichever thread asks.")
  debian_package(${toolkit}-development libtarnkit-${toolkit}-dev libdevel
    "${toolkit_library} (= ${PROJECT_VERSION}-1), libtarnkit-dev (= ${PROJECT_VERSION}-1)"
    "${PROJECT_DESCRIPTION}, windows of ${name}, development files"
    "The header, and the component of the package for CMake.")
endforeach()
# What dpkg-shlibdeps and the cache of the loader need to know of a library.
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
function(debian_library group name package)
  string(TOUPPER ${group} GROUP)
  set(shlibs ${PROJECT_BINARY_DIR}/debian/${package}/shlibs)
  file(WRITE ${shlibs} "${name} ${PROJECT_VERSION} ${package}\n")
  set(CPACK_DEBIAN_${GROUP}_PACKAGE_CONTROL_EXTRA ${shlibs} ${PROJECT_BINARY_DIR}/debian/triggers PARENT_SCOPE)
endfunction()
debian_library(runtime libTarnkit ${library})
debian_library(gtk libTarnkitGtk libtarnkit-gtk${PROJECT_VERSION})
debian_library(qt libTarnkitQt libtarnkit-qt${PROJECT_VERSION})
include(CPack)
foreach(group IN LISTS groups)
  cpack_add_component_group(${group})
  cpack_add_component(${group} GROUP ${group})
  cpack_add_component(documents-${group} GROUP ${group})
endforeach()
cpack_add_component(languages GROUP development)
