# The plugin libraries the executable imports, in registration order.
set(KT_PLUGIN_LIBRARIES
  connectivity_plus_plugin
  desktop_multi_window_plugin
  file_saver_plugin
  flutter_webrtc_plugin
  livekit_client_plugin
  media_kit_libs_windows_video_plugin
  media_kit_video_plugin
  screen_retriever_plugin
  url_launcher_windows_plugin
  volume_controller_plugin
  window_manager_plugin)
