# Rules and window facts against a simulated desktop of windows and processes.
add_library(kt_sim_desktop STATIC sim/sim_desktop.cpp)
target_include_directories(kt_sim_desktop PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/sim)
target_link_libraries(kt_sim_desktop PUBLIC kt_text)

kt_host_test(window_block_rule_test
  SOURCES unit/window_block_rule_test.cpp
  LIBS kt_blocker_rules kt_channels kt_log kt_sim_desktop)
kt_host_test(window_facts_test
  SOURCES unit/window_facts_test.cpp
  LIBS kt_blocker_rules kt_channels kt_log kt_sim_desktop)

# The engine against the simulated desktop, its delays on the simulated clock.
kt_host_test(window_blocker_test
  SOURCES unit/window_blocker_test.cpp
  LIBS kt_blocker_engine kt_blocker_rules kt_channels kt_log kt_sim_desktop)
kt_host_test(window_blocker_stress_test
  SOURCES unit/window_blocker_stress_test.cpp
  LIBS kt_blocker_engine kt_blocker_rules kt_channels kt_log kt_sim_desktop)

# The channel through the real codec, against the engine on the simulated desktop.
kt_host_test(window_blocker_channel_test
  SOURCES unit/window_blocker_channel_test.cpp
  LIBS kt_blocker_channel kt_blocker_engine kt_blocker_rules kt_channels kt_log kt_fake_messenger
       kt_sim_desktop)
