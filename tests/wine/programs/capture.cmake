# The still screen of known colour blocks that the capture's end-to-end test compares its PNG
# against, and the capture figures (--measure).
add_executable(screen_blocks screen_blocks.cpp)
target_link_libraries(screen_blocks PRIVATE kt_capture user32 gdi32)
target_link_options(screen_blocks PRIVATE -municode -static)
set_target_properties(screen_blocks PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${KT_WINDOWS_TESTS_DIR})
