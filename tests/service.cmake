# The service bootstrap against a simulated service control manager.
add_library(kt_sim_service STATIC sim/sim_service.cpp)
target_link_libraries(kt_sim_service PUBLIC kt_sim_launch)

kt_host_test(service_bootstrap_test SOURCES unit/service_bootstrap_test.cpp LIBS kt_service kt_sim_service)
