# Single instance and activation against a simulated desktop, pipe and threads. The module is
# linked without the launch driver; kt_launch is there for the mutex step ahead of it.
find_package(Threads REQUIRED)
add_library(kt_sim_instance STATIC sim/sim_instance.cpp)
target_link_libraries(kt_sim_instance PUBLIC kt_sim_launch Threads::Threads)

kt_host_test(single_instance_test
  SOURCES unit/single_instance_test.cpp
  LIBS kt_single_instance kt_launch kt_sim_instance)
