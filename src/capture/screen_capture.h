// The screen capture exports: a list of the screens, repeated frame grabs through desktop
// duplication, and a one-shot PNG screenshot of the primary screen through GDI. Callers find
// them by name in the running module, so their names, arguments and the screen record's layout
// are a fixed binary interface. None of them needs anything else of the process to have started,
// none takes a lock, and none throws.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/exported.h"

struct ScreenCapture;

#pragma pack(push, 1)
struct ScreenRecord {
  std::int32_t index;      // running number over every listed output of every adapter
  char16_t name[128];      // zero-terminated, cut at 127 units
  std::int32_t width;      // desktop right minus left
  std::int32_t height;     // desktop bottom minus top
  std::uint8_t attached;   // 1 when attached to the desktop
  std::uint8_t unused[3];  // never written
};
#pragma pack(pop)

static_assert(sizeof(ScreenRecord) == 272);
static_assert(offsetof(ScreenRecord, index) == 0);
static_assert(offsetof(ScreenRecord, name) == 4);
static_assert(offsetof(ScreenRecord, width) == 260);
static_assert(offsetof(ScreenRecord, height) == 264);
static_assert(offsetof(ScreenRecord, attached) == 268);

inline constexpr std::uint32_t kFrameWaitMs = 100;
inline constexpr std::size_t kScreenNameUnits = 128;

// Null on any failure; nothing is logged.
KT_EXPORTED ScreenCapture* StartScreenCapture(std::uint32_t outputIndex);
KT_EXPORTED void StopScreenCapture(ScreenCapture* capture);
// Bytes written (width * height * 4), 0 when no new frame came within the wait, -1 on failure.
KT_EXPORTED std::int32_t CaptureFrame(ScreenCapture* capture, std::uint8_t* buffer,
                                      std::int32_t bufferSize);
KT_EXPORTED std::int32_t GetCaptureWidth(ScreenCapture* capture);
KT_EXPORTED std::int32_t GetCaptureHeight(ScreenCapture* capture);
KT_EXPORTED std::int32_t GetScreenList(ScreenRecord* records, std::int32_t maxCount);
// 0 on success, -1 on failure.
KT_EXPORTED std::int32_t CaptureScreenToFile(const char16_t* path);

// The capture's line of the application log; dropped in silence when the log cannot be opened.
void LogScreenshot(std::u16string_view message);
