# The host window's adapters under Wine.
add_test(NAME wine_host_window COMMAND bash ${KT_TOOLS}/run.sh -t 120 ${KT_WINDOWS_TESTS}/host_window_test.exe)
set_tests_properties(wine_host_window PROPERTIES FIXTURES_REQUIRED wine LABELS wine TIMEOUT 300 ENVIRONMENT "${KT_WINE_ENV}")
