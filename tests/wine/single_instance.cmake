# Single instance and activation across real processes under Wine, and the real executable
# handing over to a running instance. It starts the application and its own instances, so it
# takes the application's lock.
add_test(NAME wine_single_instance COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/single_instance_test.sh)
set_tests_properties(wine_single_instance PROPERTIES
  FIXTURES_REQUIRED wine
  LABELS wine
  RESOURCE_LOCK wine_app
  TIMEOUT 300
  ENVIRONMENT "${KT_WINE_ENV}")
