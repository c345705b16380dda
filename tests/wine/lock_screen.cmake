# The lock screen under Wine. The first test uses the shared session (1920x1080, 96 DPI); the
# others start sessions of their own on a 3840x2160 screen and at 144 DPI, under the build tree,
# and still hold wine_app so that no two lock windows meet.
set(KT_LOCK_ENV
  "KT_LOCK_PROBE=$<TARGET_FILE:paint_probe>"
  "KT_LOCK_SHOTS=${PROJECT_SOURCE_DIR}/build/lock-screenshots")

add_test(NAME wine_lock_screen COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/lock_screen_test.sh)
set_tests_properties(wine_lock_screen PROPERTIES
  FIXTURES_REQUIRED wine LABELS wine RESOURCE_LOCK wine_app TIMEOUT 600
  ENVIRONMENT "${KT_WINE_ENV};${KT_LOCK_ENV}")

# The keyboard hook: shortcuts swallowed while the lock is up, and only then.
add_test(NAME wine_lock_shortcuts COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/lock_shortcuts_test.sh)
set_tests_properties(wine_lock_shortcuts PROPERTIES
  FIXTURES_REQUIRED wine LABELS wine RESOURCE_LOCK wine_app TIMEOUT 600
  ENVIRONMENT "${KT_WINE_ENV};${KT_LOCK_ENV}")

foreach(config IN ITEMS "4k;3840x2160x24;96" "144dpi;1920x1080x24;144")
  list(GET config 0 name)
  list(GET config 1 screen)
  list(GET config 2 dpi)
  add_test(NAME wine_lock_screen_${name}
    COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/in_own_session.sh
      bash ${CMAKE_CURRENT_SOURCE_DIR}/lock_scaled_test.sh)
  set_tests_properties(wine_lock_screen_${name} PROPERTIES
    LABELS wine RESOURCE_LOCK wine_app TIMEOUT 600
    ENVIRONMENT "KT_WINE_ROOT=${PROJECT_SOURCE_DIR}/build/wine-lock-${name};KT_XVFB_SCREEN=${screen};KT_WINE_DPI=${dpi};KT_WINDOWS_BIN=${KT_WINDOWS_BIN};KT_WINDOWS_TESTS=${KT_WINDOWS_TESTS};${KT_LOCK_ENV}")
endforeach()
