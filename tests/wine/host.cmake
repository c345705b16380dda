# The host window's adapters under Wine. Its windows are of the application's main class and
# take the foreground, which the single instance's search and hand-over look for: it holds the
# application's lock.
kt_wine_test(wine_host_window APP
  COMMAND bash ${KT_TOOLS}/run.sh -t 120 ${KT_WINDOWS_TESTS}/host_window_test.exe)
kt_wine_test(wine_file_version
  COMMAND bash ${KT_TOOLS}/run.sh -t 60 ${KT_WINDOWS_TESTS}/file_version_test.exe)
