# Resource modules: the exports of client modules, and how their texts are built from PO files. Works the same in
# this project and from the installed package; it needs only the targets Tarnkit::Tarnkit and Tarnkit::tarnmsg, by
# the end of the configuration.

if(WIN32)
  enable_language(RC)
endif()

# The message compiler runs while a project is built. When cross-compiling, this names one built for the build machine.
set(TARNKIT_MESSAGE_COMPILER "" CACHE FILEPATH "A tarnmsg to use instead of Tarnkit::tarnmsg")

# Makes every executable and library that links `target` export the protocol of resource modules, and links the
# marker of client modules even if nothing else of the static part is used.
set_property(GLOBAL PROPERTY TARNKIT_MESSAGE_EXPORTS
  ___TarnkitStrings ___TarnkitPlurals GetResourceID NumberOfMessages GetMessageName GetMessageSystemVersion)
function(tarnkit_export_module_protocol target)
  set(marker ___TarnkitUsed)
  if(WIN32 AND CMAKE_SIZEOF_VOID_P EQUAL 4)
    string(PREPEND marker _)
  endif()
  target_link_options(${target} INTERFACE LINKER:--undefined=${marker})
  if(WIN32)
    return() # the sources mark their exports
  endif()
  get_property(exports GLOBAL PROPERTY TARNKIT_MESSAGE_EXPORTS)
  foreach(symbol IN ITEMS ___TarnkitUsed ${exports})
    target_link_options(${target} INTERFACE LINKER:--export-dynamic-symbol=${symbol})
  endforeach()
endfunction()

# tarnkit_add_messages(<target> PO <file> FIRST_ID <id> [LANGUAGE <id>] [ORIGINAL <file>] [CHECK] [FILL]
#                      [SOURCES <file>... [MACROS <name:number>...] [TEMPLATE <file>]])
#
# Makes an executable or library a resource module with the messages of a PO file. Ids are assigned in the order
# of names, starting with FIRST_ID; a translation names its ORIGINAL and takes the ids from it. LANGUAGE is the
# Windows language identifier of the texts (default 1033).
#
# CHECK lets the build fail when a translation lacks a parameter of its original, and warn of what is not translated.
# FILL gives the messages that are not translated the text of the original.
#
# SOURCES lets the build fail when a message object in one of these files has a name that the PO file has no text for;
# MACROS are those that define such objects, each with the number of the argument that is the name. From both the build
# makes the TEMPLATE for translators, by default <target>.pot in the current binary folder.
#
# EXPORT_PREFIX is for static libraries: the target gets the tables with this prefix before the names of the protocol.
function(tarnkit_add_messages target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "CHECK;FILL" "PO;FIRST_ID;LANGUAGE;ORIGINAL;TEMPLATE;EXPORT_PREFIX"
                        "SOURCES;MACROS")
  if(NOT arg_PO OR NOT arg_FIRST_ID)
    message(FATAL_ERROR "The messages of ${target} need PO and FIRST_ID")
  endif()
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "The messages of ${target} have unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  cmake_path(ABSOLUTE_PATH arg_PO)
  if(NOT EXISTS ${arg_PO})
    get_source_file_property(is_made ${arg_PO} GENERATED)
    if(NOT is_made)
      message(FATAL_ERROR "The messages of ${target} are to come from ${arg_PO}, which does not exist")
    endif()
  endif()
  set(inputs ${arg_PO})
  set(source ${CMAKE_CURRENT_BINARY_DIR}/${target}_messages.cpp)
  set(outputs ${source})
  set(options --first-id ${arg_FIRST_ID})
  if(WIN32 AND NOT arg_EXPORT_PREFIX)
    set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}_messages.rc)
    list(APPEND outputs ${script})
    list(APPEND options --windows ${source} --rc ${script})
    if(arg_LANGUAGE)
      list(APPEND options --language ${arg_LANGUAGE})
    endif()
  else()
    list(APPEND options --posix ${source})
  endif()
  if(arg_ORIGINAL)
    cmake_path(ABSOLUTE_PATH arg_ORIGINAL)
    list(APPEND options --original ${arg_ORIGINAL})
    list(APPEND inputs ${arg_ORIGINAL})
  endif()
  if(arg_CHECK)
    list(APPEND options --check)
  endif()
  if(arg_FILL)
    list(APPEND options --fill)
  endif()
  set(compiler Tarnkit::tarnmsg)
  if(TARNKIT_MESSAGE_COMPILER)
    set(compiler ${TARNKIT_MESSAGE_COMPILER})
  endif()
  add_custom_command(
    OUTPUT ${outputs}
    COMMAND ${compiler} ${options} ${arg_PO}
    DEPENDS ${inputs} ${compiler}
    COMMENT "Compiling the messages of ${target}"
    VERBATIM)
  if(arg_SOURCES)
    if(NOT arg_TEMPLATE)
      set(arg_TEMPLATE ${target}.pot)
    endif()
    cmake_path(ABSOLUTE_PATH arg_TEMPLATE BASE_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
    list(TRANSFORM arg_MACROS PREPEND --macro=)
    add_custom_command(
      OUTPUT ${arg_TEMPLATE}
      COMMAND ${compiler} extract --original ${arg_PO} ${arg_MACROS} --output ${arg_TEMPLATE} ${arg_SOURCES}
      DEPENDS ${arg_PO} ${arg_SOURCES} ${compiler}
      WORKING_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}
      COMMENT "Making the template for translations of ${target}"
      VERBATIM)
  endif()
  # The target may have been created in another folder, which does not see this one's rules.
  add_custom_target(${target}_messages DEPENDS ${outputs} ${arg_TEMPLATE})
  add_dependencies(${target} ${target}_messages)
  # Every module has its own tables under the same names, which a sanitizer takes for duplicate definitions.
  set_source_files_properties(${source} TARGET_DIRECTORY ${target} PROPERTIES
    COMPILE_OPTIONS $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-fno-sanitize=all>
    SKIP_PRECOMPILE_HEADERS ON) # headers precompiled with a sanitizer do not fit
  if(arg_EXPORT_PREFIX)
    get_property(exports GLOBAL PROPERTY TARNKIT_MESSAGE_EXPORTS)
    list(TRANSFORM exports REPLACE "(.+)" "\\1=${arg_EXPORT_PREFIX}\\1")
    set_source_files_properties(${source} TARGET_DIRECTORY ${target} PROPERTIES COMPILE_DEFINITIONS "${exports}")
  endif()
  set_source_files_properties(${outputs} TARGET_DIRECTORY ${target} PROPERTIES GENERATED ON)
  target_sources(${target} PRIVATE ${outputs})
endfunction()

# tarnkit_add_language(<prefix> <code> PO <file> FIRST_ID <id> [<other arguments of tarnkit_add_messages>]
#                      [TARGET <name>] [OUTPUT_DIRECTORY <folder>])
#
# Builds the language library of a family, such as Res1.dll: the prefix, the code of the interface language,
# and ".dll" on every system. It is built beside the programs unless a folder is given, and its target has the
# library's name unless another one is given.
function(tarnkit_add_language prefix code)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "TARGET;OUTPUT_DIRECTORY" "")
  if(NOT code MATCHES "^[0-9]+$" OR code GREATER 47)
    message(FATAL_ERROR "'${code}' is no code of an interface language, a number from 0 to 47")
  endif()
  set(target ${prefix}${code})
  if(arg_TARGET)
    set(target ${arg_TARGET})
  endif()
  if(NOT arg_OUTPUT_DIRECTORY)
    set(arg_OUTPUT_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
  endif()
  if(NOT arg_OUTPUT_DIRECTORY)
    set(arg_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR})
  endif()
  add_library(${target} MODULE)
  target_compile_features(${target} PRIVATE cxx_std_20)
  target_include_directories(
    ${target} PRIVATE $<TARGET_PROPERTY:Tarnkit::Tarnkit,INTERFACE_INCLUDE_DIRECTORIES>)
  set_target_properties(${target} PROPERTIES
    PREFIX "" OUTPUT_NAME ${prefix}${code} SUFFIX .dll LIBRARY_OUTPUT_DIRECTORY ${arg_OUTPUT_DIRECTORY})
  tarnkit_add_messages(${target} ${arg_UNPARSED_ARGUMENTS})
endfunction()
