# The contract cases of tests/contract, built against the Win32 adapters; the host build builds
# the same sources against the simulation.
set(KT_CONTRACT_DIR ${PROJECT_SOURCE_DIR}/tests/contract)
include(${KT_CONTRACT_DIR}/contract_sources.cmake)
list(TRANSFORM KT_CONTRACT_SOURCES PREPEND ${KT_CONTRACT_DIR}/)
kt_windows_test(platform_contract_test
  SOURCES ${KT_CONTRACT_SOURCES} ${KT_CONTRACT_DIR}/win32_values_check.cpp
  LIBS kt_platform)
kt_windows_test(gdi_contract_test SOURCES ${KT_CONTRACT_DIR}/gdi_contract_test.cpp LIBS kt_platform)
kt_windows_test(capture_contract_test SOURCES ${KT_CONTRACT_DIR}/capture_contract_test.cpp
  LIBS kt_platform)
