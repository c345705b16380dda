# Channel values, the standard codec, method channels and the messenger over the embedder.
# The messenger's C functions come from flutter_windows.dll on Windows and from a fake
# messenger in host tests; a program that never sends through BinaryMessengerImpl needs neither.
add_library(kt_channels STATIC
  ${CMAKE_CURRENT_LIST_DIR}/encodable_value.cpp
  ${CMAKE_CURRENT_LIST_DIR}/byte_streams.cpp
  ${CMAKE_CURRENT_LIST_DIR}/error_output.cpp
  ${CMAKE_CURRENT_LIST_DIR}/standard_codec.cpp
  ${CMAKE_CURRENT_LIST_DIR}/method_result.cpp
  ${CMAKE_CURRENT_LIST_DIR}/engine_method_result.cpp
  ${CMAKE_CURRENT_LIST_DIR}/binary_messenger_impl.cpp
  ${CMAKE_CURRENT_LIST_DIR}/method_channel.cpp
  ${CMAKE_CURRENT_LIST_DIR}/channel_arguments.cpp)
target_link_libraries(kt_channels PUBLIC kt_text)

list(APPEND KT_LOGIC_LIBRARIES kt_channels)
