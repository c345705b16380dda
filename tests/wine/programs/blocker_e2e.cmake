# Windows the real application's blocker acts on, driven by the Linux end-to-end test.
add_executable(blocker_target blocker_target.cpp)
target_link_libraries(blocker_target PRIVATE ws2_32 user32 psapi)
target_link_options(blocker_target PRIVATE -static)
set_target_properties(blocker_target PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${KT_WINDOWS_TESTS_DIR})
