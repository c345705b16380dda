# The native lock: layout, input and paint plan as platform-free logic, the window and its GDI
# drawing as Win32 adapters.
add_library(kt_lock_screen STATIC
  ${CMAKE_CURRENT_LIST_DIR}/lock_layout.cpp
  ${CMAKE_CURRENT_LIST_DIR}/lock_paint_plan.cpp
  ${CMAKE_CURRENT_LIST_DIR}/lock_screen.cpp)
target_link_libraries(kt_lock_screen PUBLIC kt_password kt_text)

list(APPEND KT_LOGIC_LIBRARIES kt_lock_screen)
list(APPEND KT_WIN32_SOURCES
  ${CMAKE_CURRENT_LIST_DIR}/win32_lock_platform.cpp
  ${CMAKE_CURRENT_LIST_DIR}/win32_lock_paint.cpp
  ${CMAKE_CURRENT_LIST_DIR}/win32_lock_window.cpp)
