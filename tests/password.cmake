# The password store against the simulated files, hash provider and command line.
kt_host_test(password_store_test SOURCES unit/password_store_test.cpp LIBS kt_password kt_sim_launch)
