# The whole application under Wine with the engine stand-in, driven like the Dart side.
if(KT_WINE_TESTS AND TARGET kt_wine_process AND TARGET kt_channels)
  add_library(kt_method_calls STATIC ${CMAKE_CURRENT_SOURCE_DIR}/driver/method_calls.cpp)
  target_link_libraries(kt_method_calls PUBLIC kt_engine_driver kt_channels)

  add_library(kt_app_session STATIC ${CMAKE_CURRENT_SOURCE_DIR}/e2e/app_session.cpp)
  target_include_directories(kt_app_session PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/e2e)
  target_link_libraries(kt_app_session PUBLIC kt_engine_driver kt_wine_process GTest::gtest)

  add_executable(app_e2e_test ${CMAKE_CURRENT_SOURCE_DIR}/e2e/app_e2e_test.cpp)
  target_link_libraries(app_e2e_test PRIVATE kt_app_session kt_method_calls GTest::gtest_main)
  add_test(NAME app_e2e_test COMMAND app_e2e_test)
  set_tests_properties(app_e2e_test PROPERTIES FIXTURES_REQUIRED wine LABELS wine RESOURCE_LOCK wine_app
    TIMEOUT 600 ENVIRONMENT "${KT_WINE_TEST_ENV}")

  # Super block hides every window it may, so the blocker meets the other tests' windows only in
  # a session of its own.
  add_library(kt_blocker_target_client STATIC ${CMAKE_CURRENT_SOURCE_DIR}/e2e/blocker_target_client.cpp)
  target_include_directories(kt_blocker_target_client PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/e2e)
  target_link_libraries(kt_blocker_target_client PUBLIC kt_engine_driver kt_wine_process)

  add_executable(blocker_e2e_test ${CMAKE_CURRENT_SOURCE_DIR}/e2e/blocker_e2e_test.cpp)
  target_link_libraries(blocker_e2e_test PRIVATE kt_app_session kt_blocker_target_client kt_method_calls
    GTest::gtest_main)
  add_test(NAME blocker_e2e_test
    COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/wine/in_own_session.sh $<TARGET_FILE:blocker_e2e_test>)
  string(REPLACE "KT_WINE_ROOT=${kt_standin_wine_root}" "KT_WINE_ROOT=${PROJECT_SOURCE_DIR}/build/wine-blocker"
    kt_blocker_env "${KT_WINE_TEST_ENV}")
  set_tests_properties(blocker_e2e_test PROPERTIES LABELS wine TIMEOUT 900 ENVIRONMENT "${kt_blocker_env}")
endif()

if(TARGET kt_method_calls)
  # The main job's stand-in for Dart.
  add_executable(demo_driver ${PROJECT_SOURCE_DIR}/tools/demo/demo_driver.cpp)
  target_link_libraries(demo_driver PRIVATE kt_method_calls kt_blocker_target_client)
endif()
