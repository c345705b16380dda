# The blocker's window port, facts and gate against real windows under Wine.
kt_windows_test(window_facts_test SOURCES window_facts_test.cpp
  LIBS kt_blocker)
target_link_libraries(window_facts_test PRIVATE user32 gdi32)
# The engine's hook thread, message loop, close and hide actions and workers under Wine; the
# program starts a second copy of itself as the other process.
kt_windows_test(window_actions_test SOURCES window_actions_test.cpp
  LIBS kt_blocker)
target_link_libraries(window_actions_test PRIVATE user32 gdi32)
