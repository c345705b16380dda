# The host window, the Flutter window with its tray and engine owners, and the system commands.
# Their ports (window_platform.h, tray_platform.h, embedder_platform.h, system_platform.h) are
# implemented by the win32_*.cpp adapters here and by tests/sim on the host.
add_library(kt_host_window STATIC ${CMAKE_CURRENT_LIST_DIR}/win32_window.cpp)
target_link_libraries(kt_host_window PUBLIC kt_text)

add_library(kt_system_commands STATIC ${CMAKE_CURRENT_LIST_DIR}/system_commands.cpp)
target_link_libraries(kt_system_commands PUBLIC kt_channels)

add_library(kt_flutter_window STATIC
  ${CMAKE_CURRENT_LIST_DIR}/flutter_engine.cpp
  ${CMAKE_CURRENT_LIST_DIR}/flutter_view_controller.cpp
  ${CMAKE_CURRENT_LIST_DIR}/flutter_window.cpp
  ${CMAKE_CURRENT_LIST_DIR}/main_window.cpp)
target_link_libraries(kt_flutter_window
  PUBLIC kt_host_window kt_system_commands kt_blocker_channel kt_blocker_engine kt_channels kt_log)

list(APPEND KT_LOGIC_LIBRARIES kt_flutter_window kt_system_commands kt_host_window)
list(APPEND KT_WIN32_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/win32_window_platform.cpp
  ${CMAKE_CURRENT_LIST_DIR}/win32_tray_platform.cpp
  ${CMAKE_CURRENT_LIST_DIR}/win32_engine_platform.cpp
  ${CMAKE_CURRENT_LIST_DIR}/win32_system_platform.cpp)
