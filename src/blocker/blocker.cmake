# The blocker's rules and window facts as platform-free logic; the desktop they ask through
# window_system.h is win32_window_system.cpp on Windows and the simulated desktop in host tests.
add_library(kt_blocker_rules STATIC
  ${CMAKE_CURRENT_LIST_DIR}/window_block_rule.cpp
  ${CMAKE_CURRENT_LIST_DIR}/window_facts.cpp)
target_link_libraries(kt_blocker_rules PUBLIC kt_channels kt_log kt_text)

list(APPEND KT_LOGIC_LIBRARIES kt_blocker_rules)
list(APPEND KT_WIN32_SOURCES ${CMAKE_CURRENT_LIST_DIR}/win32_window_system.cpp)

# The engine: hook thread, workers and the one mutex over rules, logs and hidden windows.
find_package(Threads REQUIRED)
add_library(kt_blocker_engine STATIC ${CMAKE_CURRENT_LIST_DIR}/window_blocker.cpp)
target_link_libraries(kt_blocker_engine PUBLIC kt_blocker_rules Threads::Threads)

list(APPEND KT_LOGIC_LIBRARIES kt_blocker_engine)

# The channel the Dart side drives the engine through.
add_library(kt_blocker_channel STATIC ${CMAKE_CURRENT_LIST_DIR}/window_blocker_channel.cpp)
target_link_libraries(kt_blocker_channel PUBLIC kt_blocker_engine kt_channels)

list(APPEND KT_LOGIC_LIBRARIES kt_blocker_channel)
