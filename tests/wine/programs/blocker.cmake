# The blocker's window port, facts and gate against real windows under Wine.
kt_windows_test(window_facts_test SOURCES window_facts_test.cpp
  LIBS kt_blocker_rules kt_channels kt_log)
target_link_libraries(window_facts_test PRIVATE user32 gdi32)
