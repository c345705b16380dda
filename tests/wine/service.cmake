# The service bootstrap under Wine: the real adapters against a real service control manager.
add_test(NAME wine_service_bootstrap COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/service_test.sh)
set_tests_properties(wine_service_bootstrap PROPERTIES
  FIXTURES_REQUIRED wine
  LABELS wine
  TIMEOUT 300
  RESOURCE_LOCK wine_app
  ENVIRONMENT "KT_WINE_ROOT=${KT_WINE_ROOT};KT_WINDOWS_BIN=${KT_WINDOWS_BIN};KT_WINDOWS_TESTS=${KT_WINDOWS_TESTS}")
