# The host window over Wine's window manager. Its DPI comes from the engine's embedder, so the
# engine stand-in lies beside the program.
kt_windows_test(host_window_test SOURCES host_window_test.cpp LIBS kt_host)
target_link_libraries(host_window_test PRIVATE flutter_windows_import)
add_dependencies(host_window_test flutter_windows_standin)
add_custom_command(TARGET host_window_test POST_BUILD
  COMMAND ${CMAKE_COMMAND} -E copy_if_different $<TARGET_FILE:flutter_windows_standin>
          $<TARGET_FILE_DIR:host_window_test>
  VERBATIM)

# The present devices as SetupAPI lists them, for the end-to-end check of the device status.
add_executable(device_list device_list.cpp)
target_link_libraries(device_list PRIVATE setupapi)
target_link_options(device_list PRIVATE -static)
set_target_properties(device_list PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${KT_WINDOWS_TESTS_DIR})

# The executable's file properties against the project's one version.
kt_windows_test(file_version_test SOURCES file_version_test.cpp LIBS version)
target_compile_definitions(file_version_test PRIVATE KT_PROJECT_VERSION="${PROJECT_VERSION}")
