#include "app/app_log.h"

#include "app/files.h"
#include "platform/kernel.h"

namespace {

void AppendLine(std::u16string_view line) {
  try {
    AppendFileShared(GetAppLogPath(), EncodeLogLine(line));
  } catch (...) {
    // A log line is never worth failing the caller for.
  }
}

}  // namespace

void EnsureLogDirectory() {
  const std::u16string path = GetAppLogPath();
  const size_t lastSlash = path.rfind(u'\\');
  if (lastSlash == std::u16string::npos) return;
  const std::u16string directory = path.substr(0, lastSlash);
  // Failures are expected ("C:" itself, directories that exist) and mean nothing.
  for (size_t i = 0; i < directory.size(); ++i) {
    if (directory[i] == u'\\') platform::CreateDirectoryW(directory.substr(0, i));
  }
  platform::CreateDirectoryW(directory);
}

std::string EncodeLogLine(std::u16string_view line) {
  // The stream converts through the runtime's C locale: units up to 0xFF are single bytes, and
  // the rest, which no fixed line contains, become '?'. Text mode ends the line with CR LF.
  std::string bytes;
  bytes.reserve(line.size() + 2);
  for (const char16_t c : line) bytes.push_back(c <= 0xFF ? static_cast<char>(c) : '?');
  bytes += "\r\n";
  return bytes;
}

void WriteAppLog(std::u16string_view message) {
  try {
    const platform::LocalTime t = platform::GetLocalTime();
    const std::u16string stamp =
        FormatLogLine(u"[%d-%d-%d %d:%d:%d] ", t.year, t.month, t.day, t.hour, t.minute, t.second);
    AppendLine(stamp + std::u16string(message));
  } catch (...) {
  }
}

void LogFlutterWindow(std::u16string_view message) {
  try {
    AppendLine(u"[FlutterWindow] " + std::u16string(message));
  } catch (...) {
  }
}
