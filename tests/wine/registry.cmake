# The registry's contract cases against Wine's registry, through the Win32 adapter.
kt_wine_test(wine_registry_contract
  COMMAND bash ${KT_TOOLS}/run.sh -t 120 ${KT_WINDOWS_TESTS}/registry_contract_test.exe)
