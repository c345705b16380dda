# The host program of the stand-in's end-to-end test. It lives beside the stand-in in bin/, the
# test layout, so that it loads that flutter_windows.dll.
add_executable(standin_host standin_host.cpp)
target_include_directories(standin_host PRIVATE ${PROJECT_SOURCE_DIR}/src)
target_link_libraries(standin_host PRIVATE flutter_windows_import user32)
target_link_options(standin_host PRIVATE -municode -static)
add_dependencies(standin_host flutter_windows_standin)
set_target_properties(standin_host PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
