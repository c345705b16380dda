# The contract cases against the Win32 adapters under Wine: what the simulation must answer too.
kt_wine_test(wine_platform_contract
  COMMAND bash ${KT_TOOLS}/run.sh -t 180 ${KT_WINDOWS_TESTS}/platform_contract_test.exe)
kt_wine_test(wine_gdi_contract
  COMMAND bash ${KT_TOOLS}/run.sh -t 120 ${KT_WINDOWS_TESTS}/gdi_contract_test.exe)
kt_wine_test(wine_capture_contract
  COMMAND bash ${KT_TOOLS}/run.sh -t 120 ${KT_WINDOWS_TESTS}/capture_contract_test.exe)
