# Outside views of a running lock window, and the lock's painting figures, for the Wine tests.
add_executable(lock_window_probe lock_window_probe.cpp)
target_link_libraries(lock_window_probe PRIVATE user32 gdi32)
target_link_options(lock_window_probe PRIVATE -static)
set_target_properties(lock_window_probe PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${KT_WINDOWS_TESTS_DIR})

add_executable(lock_paint_bench lock_paint_bench.cpp)
target_link_libraries(lock_paint_bench PRIVATE
  kt_lock kt_paint)
target_link_options(lock_paint_bench PRIVATE -static)
set_target_properties(lock_paint_bench PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${KT_WINDOWS_TESTS_DIR})
