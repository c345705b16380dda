# The service bootstrap, linked with its real adapters, against Wine's service control manager;
# tests/wine/service_test.sh puts the service into each situation and runs it.
add_executable(service_adapter_test service_adapter_test.cpp)
target_link_libraries(service_adapter_test PRIVATE
  kt_service)
target_link_options(service_adapter_test PRIVATE -static)
set_target_properties(service_adapter_test PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
