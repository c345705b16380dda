// The messenger part of the engine's embedder interface: plain C types only, so that the
// channel layer builds on the host too, where a fake messenger implements these functions.
#pragma once

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) && defined(FLUTTER_STANDIN_EXPORTS)
#define FLUTTER_EXPORT __declspec(dllexport)
#elif defined(_WIN32)
#define FLUTTER_EXPORT __declspec(dllimport)
#else
#define FLUTTER_EXPORT
#endif

extern "C" {

typedef struct FlutterDesktopMessenger* FlutterDesktopMessengerRef;
// The embedder's own name for the handle type, kept so that the declarations match its ABI.
typedef struct _FlutterPlatformMessageResponseHandle  // NOLINT(bugprone-reserved-identifier)
    FlutterDesktopMessageResponseHandle;

typedef struct {
  size_t struct_size;
  const char* channel;
  const uint8_t* message;
  size_t message_size;
  const FlutterDesktopMessageResponseHandle* response_handle;
} FlutterDesktopMessage;

typedef void (*FlutterDesktopBinaryReply)(const uint8_t* data, size_t data_size, void* user_data);
typedef void (*FlutterDesktopMessageCallback)(FlutterDesktopMessengerRef messenger,
                                              const FlutterDesktopMessage* message,
                                              void* user_data);

// Messenger.
FLUTTER_EXPORT bool FlutterDesktopMessengerSend(FlutterDesktopMessengerRef messenger,
                                                const char* channel, const uint8_t* message,
                                                size_t message_size);
FLUTTER_EXPORT bool FlutterDesktopMessengerSendWithReply(
    FlutterDesktopMessengerRef messenger, const char* channel, const uint8_t* message,
    size_t message_size, FlutterDesktopBinaryReply reply, void* user_data);
FLUTTER_EXPORT void FlutterDesktopMessengerSendResponse(
    FlutterDesktopMessengerRef messenger, const FlutterDesktopMessageResponseHandle* handle,
    const uint8_t* data, size_t data_length);
FLUTTER_EXPORT void FlutterDesktopMessengerSetCallback(FlutterDesktopMessengerRef messenger,
                                                       const char* channel,
                                                       FlutterDesktopMessageCallback callback,
                                                       void* user_data);
FLUTTER_EXPORT FlutterDesktopMessengerRef
FlutterDesktopMessengerAddRef(FlutterDesktopMessengerRef messenger);
FLUTTER_EXPORT void FlutterDesktopMessengerRelease(FlutterDesktopMessengerRef messenger);
FLUTTER_EXPORT bool FlutterDesktopMessengerIsAvailable(FlutterDesktopMessengerRef messenger);
FLUTTER_EXPORT FlutterDesktopMessengerRef
FlutterDesktopMessengerLock(FlutterDesktopMessengerRef messenger);
FLUTTER_EXPORT void FlutterDesktopMessengerUnlock(FlutterDesktopMessengerRef messenger);

}  // extern "C"
