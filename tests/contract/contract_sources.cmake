# The contract cases, one file per Windows area; both builds read this list.
set(KT_CONTRACT_SOURCES
  kernel_contract_test.cpp
  files_contract_test.cpp
  pipes_contract_test.cpp
  windows_contract_test.cpp
  keyboard_hook_contract_test.cpp
  messages_contract_test.cpp
  shell_contract_test.cpp
  services_contract_test.cpp
  crypto_contract_test.cpp
  network_contract_test.cpp
  setupapi_contract_test.cpp)
