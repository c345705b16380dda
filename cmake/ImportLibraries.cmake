# Import libraries for the engine's embedder and the plugin libraries, made from .def files with
# dlltool, so that the executable links exactly as a Windows build of the app does.
find_program(KT_DLLTOOL NAMES x86_64-w64-mingw32-dlltool REQUIRED)

set(KT_IMPORT_LIB_DIR ${CMAKE_BINARY_DIR}/import)

# kt_import_library(target def): an INTERFACE target linking the import library of `def`.
function(kt_import_library target def)
  get_filename_component(dll_name ${def} NAME_WE)
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
