# The C++ runtime of Windows modules.
#
# On Windows `operator new` cannot be replaced for a whole process: each module has its own, and so has the shared C++
# runtime. A std::filesystem::path or a stream that is filled in the runtime and destroyed in a module would be freed by
# the wrong one. So every module links the parts of the runtime that it uses (and its operators) statically and shares
# only the state of exceptions, of which a process must have only one so that exceptions can cross modules.
if(NOT WIN32)
  function(tarnkit_share_exceptions)
  endfunction()
  return()
endif()

# With a static library there is one module, which has the whole runtime.
if(NOT TARNKIT_SHARED)
  function(tarnkit_share_exceptions target scope)
    target_link_options(${target} ${scope} -static)
  endfunction()
  return()
endif()

set(exceptions_library ${PROJECT_BINARY_DIR}/libtarnkit_exceptions.a)
execute_process(
  COMMAND ${CMAKE_DLLTOOL} --input-def ${CMAKE_CURRENT_LIST_DIR}/exceptions.def --output-lib ${exceptions_library}
  COMMAND_ERROR_IS_FATAL ANY)

# Programs find the runtime's libraries beside them.
set(runtime_libraries libstdc++-6.dll libwinpthread-1.dll)
if(CMAKE_SIZEOF_VOID_P EQUAL 8)
  list(APPEND runtime_libraries libgcc_s_seh-1.dll)
else()
  list(APPEND runtime_libraries libgcc_s_dw2-1.dll)
endif()
set(runtime_files)
foreach(library IN LISTS runtime_libraries)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${library}
    OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  list(APPEND runtime_files ${file})
endforeach()
file(COPY ${runtime_files} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})

# Shared by the library itself (PRIVATE) and by every module that links its static part (INTERFACE).
function(tarnkit_share_exceptions target scope)
  target_link_options(${target} ${scope} -shared-libgcc -static-libstdc++)
  # Linked whole, and before the runtime's archive, which has the same symbols.
  set(installed $<INSTALL_PREFIX>/${CMAKE_INSTALL_LIBDIR}/libtarnkit_exceptions.a)
  target_link_options(${target} ${scope}
    "$<BUILD_INTERFACE:SHELL:-Wl,--whole-archive \"${exceptions_library}\" -Wl,--no-whole-archive>"
    "$<INSTALL_INTERFACE:SHELL:-Wl,--whole-archive \"${installed}\" -Wl,--no-whole-archive>")
endfunction()
