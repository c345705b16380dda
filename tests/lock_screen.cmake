# The lock screen's layout, paint plan and input logic, the input against a scripted window.
kt_host_test(lock_screen_test
  SOURCES unit/lock_layout_test.cpp unit/lock_paint_plan_test.cpp unit/lock_input_test.cpp
  LIBS kt_lock_screen kt_password kt_sim_launch)

# Prints the layout and the paint plan's probe points for a screen size and DPI, so that the
# Wine tests compare screenshots with the plan instead of with colours copied by hand.
add_executable(lock_paint_probe ${PROJECT_SOURCE_DIR}/tools/lock/lock_paint_probe.cpp)
target_link_libraries(lock_paint_probe PRIVATE kt_lock_screen)
