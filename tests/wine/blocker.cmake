# Window facts and the shape gate on real windows of several processes under Wine.
kt_wine_test(wine_window_facts COMMAND bash ${KT_TOOLS}/run.sh -t 120 ${KT_WINDOWS_TESTS}/window_facts_test.exe)
# The engine's window actions and window events across processes under Wine.
kt_wine_test(wine_window_actions COMMAND bash ${KT_TOOLS}/run.sh -t 120 ${KT_WINDOWS_TESTS}/window_actions_test.exe)
