# The registry's contract cases against the Win32 adapter, with the one check of the seam's values
# that needs the running system: the predefined keys.
kt_windows_test(registry_contract_test
  SOURCES ${PROJECT_SOURCE_DIR}/tests/contract/registry_contract_test.cpp
          predefined_keys_test.cpp
  LIBS kt_platform)
