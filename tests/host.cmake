# The host window, the Flutter window and the system commands against the simulated window
# manager, embedder and machine.
add_library(kt_sim_window STATIC sim/sim_window.cpp)
target_link_libraries(kt_sim_window PUBLIC kt_sim_launch)

add_library(kt_sim_embedder STATIC sim/sim_embedder.cpp)
target_link_libraries(kt_sim_embedder PUBLIC kt_sim_window kt_fake_messenger)

add_library(kt_sim_system STATIC sim/sim_system.cpp)
target_link_libraries(kt_sim_system PUBLIC kt_sim_launch)

kt_host_test(win32_window_test SOURCES unit/win32_window_test.cpp LIBS kt_host_window kt_sim_window)
kt_host_test(system_commands_test
  SOURCES unit/system_commands_test.cpp
  LIBS kt_system_commands kt_channels kt_fake_messenger kt_sim_system)
kt_host_test(flutter_window_test
  SOURCES unit/flutter_window_test.cpp
  LIBS kt_flutter_window kt_host_window kt_system_commands kt_blocker_channel kt_blocker_engine
       kt_blocker_rules kt_channels kt_log kt_sim_embedder kt_fake_messenger kt_sim_window
       kt_sim_system kt_sim_desktop)
