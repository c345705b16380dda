# The frame codec shared by the engine stand-in and the test driver, the driver library, and the
# stand-in's end-to-end test under Wine.
add_library(kt_frames STATIC ${PROJECT_SOURCE_DIR}/tools/frames/frames.cpp)
target_include_directories(kt_frames PUBLIC ${PROJECT_SOURCE_DIR}/tools)

add_library(kt_engine_driver STATIC ${CMAKE_CURRENT_SOURCE_DIR}/driver/engine_driver.cpp)
target_include_directories(kt_engine_driver PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/driver)
target_link_libraries(kt_engine_driver PUBLIC kt_frames)

kt_host_test(frames_test SOURCES ${CMAKE_CURRENT_SOURCE_DIR}/unit/frames_test.cpp LIBS kt_frames)

if(KT_WINE_TESTS)
  # The same places tests/wine/CMakeLists.txt uses; that file is read after this one, so its
  # cache entries exist here only when given on the command line or on a later configure.
  if(DEFINED KT_WINE_ROOT)
    set(kt_standin_wine_root ${KT_WINE_ROOT})
  else()
    set(kt_standin_wine_root ${PROJECT_SOURCE_DIR}/build/wine)
  endif()
  if(DEFINED KT_WINDOWS_BUILD)
    set(kt_standin_windows_build ${KT_WINDOWS_BUILD})
  else()
    set(kt_standin_windows_build ${PROJECT_SOURCE_DIR}/build/windows)
  endif()
  set(kt_standin_windows_bin ${kt_standin_windows_build}/bin)
  set(kt_standin_windows_tests ${kt_standin_windows_build}/tests)

  # Starting Windows programs under Wine from a Linux test.
  add_library(kt_wine_process STATIC ${CMAKE_CURRENT_SOURCE_DIR}/driver/wine_process.cpp)
  target_include_directories(kt_wine_process PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/driver)
  target_compile_definitions(kt_wine_process PRIVATE
    KT_SOURCE_ROOT="${PROJECT_SOURCE_DIR}"
    KT_DEFAULT_WINE_ROOT="${kt_standin_wine_root}"
    KT_DEFAULT_WINDOWS_BIN="${kt_standin_windows_bin}"
    KT_DEFAULT_WINDOWS_TESTS="${kt_standin_windows_tests}")
  set(KT_WINE_TEST_ENV
    "KT_WINE_ROOT=${kt_standin_wine_root};KT_WINDOWS_BIN=${kt_standin_windows_bin};KT_WINDOWS_TESTS=${kt_standin_windows_tests}")

  add_executable(standin_integration_test ${CMAKE_CURRENT_SOURCE_DIR}/driver/standin_integration_test.cpp)
  target_link_libraries(standin_integration_test PRIVATE kt_engine_driver kt_wine_process GTest::gtest_main)
  add_test(NAME standin_integration_test COMMAND standin_integration_test)
  set_tests_properties(standin_integration_test PROPERTIES
    FIXTURES_REQUIRED wine
    LABELS wine
    RESOURCE_LOCK wine_app
    TIMEOUT 300
    ENVIRONMENT "${KT_WINE_TEST_ENV}")
endif()
