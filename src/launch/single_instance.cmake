# Single instance and activation. The launch driver calls it and it reads the driver's
# process-wide state, so it links beside kt_launch, never into it: the driver's host test puts
# fakes of ActivateRunningInstance and StartActivationPipeServer in its place.
add_library(kt_single_instance STATIC ${CMAKE_CURRENT_LIST_DIR}/single_instance.cpp)
target_link_libraries(kt_single_instance PUBLIC kt_log)

list(APPEND KT_LOGIC_LIBRARIES kt_single_instance)
list(APPEND KT_WIN32_SOURCES ${CMAKE_CURRENT_LIST_DIR}/win32_instance_platform.cpp)
