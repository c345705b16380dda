# Window facts and the shape gate on real windows of several processes under Wine. The notepad it
# starts takes the foreground, so it holds the application's lock.
kt_wine_test(wine_window_facts APP COMMAND bash ${KT_TOOLS}/run.sh -t 120 ${KT_WINDOWS_TESTS}/window_facts_test.exe)
# The engine's window actions and window events across processes under Wine. It sets the
# foreground and checks that showing without activation leaves it alone; the foreground is one for
# the whole session, and beside the other tests their windows take it (or, when theirs close, the
# desktop window does) and its own take theirs. So it runs in a Wine session of its own.
add_test(NAME wine_window_actions
  COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/in_own_session.sh
    bash ${KT_TOOLS}/run.sh -t 120 ${KT_WINDOWS_TESTS}/window_actions_test.exe)
set_tests_properties(wine_window_actions PROPERTIES LABELS wine TIMEOUT 300
  ENVIRONMENT "KT_WINE_ROOT=${PROJECT_SOURCE_DIR}/build/wine-window-actions;KT_WINDOWS_BIN=${KT_WINDOWS_BIN};KT_WINDOWS_TESTS=${KT_WINDOWS_TESTS}")
