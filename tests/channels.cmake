# The channel layer against a fake of the embedder's messenger.
add_library(kt_fake_messenger STATIC sim/fake_messenger.cpp)
target_include_directories(kt_fake_messenger PUBLIC ${CMAKE_CURRENT_SOURCE_DIR}/sim)
target_link_libraries(kt_fake_messenger PUBLIC kt_text)

kt_host_test(channels_test
  SOURCES unit/encodable_value_test.cpp unit/standard_codec_test.cpp
          unit/method_channel_test.cpp unit/channel_arguments_test.cpp
  LIBS kt_channels kt_fake_messenger)
