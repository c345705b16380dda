# Single instance and activation with the real adapters: one program that plays the running
# instance, a lock process or a windowless instance, and the second launch against each.
kt_windows_test(single_instance_test
  SOURCES single_instance_test.cpp
  LIBS kt_single_instance kt_launch)
