# Import libraries for the engine's embedder and the plugin libraries, made from .def files with
# dlltool, so that the executable links exactly as a Windows build of the app does.
include(${PROJECT_SOURCE_DIR}/src/host/plugin_libraries.cmake)
find_program(KT_DLLTOOL NAMES x86_64-w64-mingw32-dlltool REQUIRED)

function(kt_import_library target dll_name)
  set(def ${PROJECT_SOURCE_DIR}/src/host/imports/${dll_name}.def)
  set(lib ${KT_IMPORT_LIB_DIR}/lib${dll_name}.dll.a)
  add_custom_command(OUTPUT ${lib}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${KT_IMPORT_LIB_DIR}
    COMMAND ${KT_DLLTOOL} -d ${def} -l ${lib}
    DEPENDS ${def} VERBATIM)
  add_custom_target(${target}_lib DEPENDS ${lib})
  add_library(${target} INTERFACE)
  add_dependencies(${target} ${target}_lib)
  target_link_libraries(${target} INTERFACE ${lib})
endfunction()

kt_import_library(flutter_windows_import flutter_windows)
add_library(kt_plugin_imports INTERFACE)
foreach(plugin IN LISTS KT_PLUGIN_LIBRARIES)
  kt_import_library(${plugin}_import ${plugin})
  target_link_libraries(kt_plugin_imports INTERFACE ${plugin}_import)
endforeach()
