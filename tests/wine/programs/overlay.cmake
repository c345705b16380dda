# The overlay's Wine programs: a handler for a made-up file type that the prompt's open button
# reaches through the shell, and the painting figures of the marquee and the popup.
add_executable(overlay_open_handler overlay_open_handler.cpp)
target_link_options(overlay_open_handler PRIVATE -municode -mwindows -static)
set_target_properties(overlay_open_handler PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${KT_WINDOWS_TESTS_DIR})

add_executable(overlay_paint_bench overlay_paint_bench.cpp)
target_link_libraries(overlay_paint_bench PRIVATE kt_overlay)
target_link_options(overlay_paint_bench PRIVATE -static)
set_target_properties(overlay_paint_bench PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${KT_WINDOWS_TESTS_DIR})
