#include "app/data_paths.h"

#include <string_view>

#include "platform/shell.h"

namespace {

// The fallbacks differ from each other, and the writers outside this program use exactly these,
// so they stay as they are.
constexpr std::u16string_view kLogSuffix = u"\\KelvoTarnel\\logs\\app.log";
constexpr std::u16string_view kLogFallback = u"C:\\KelvoTarnel\\logs\\app.log";
constexpr std::u16string_view kPseudoLockSuffix = u"\\KelvoTarnel\\pseudo_lock.json";
constexpr std::u16string_view kPseudoLockFallback = u"C:\\KelvoTarnel\\pseudo_lock.json";
constexpr std::u16string_view kUninstallAuthSuffix = u"\\KelvoTarnel\\uninstall_auth.json";
constexpr std::u16string_view kUninstallAuthFallback =
    u"C:\\ProgramData\\KelvoTarnel\\uninstall_auth.json";

std::u16string PathUnderCommonAppData(std::u16string_view suffix, std::u16string_view fallback) {
  const auto folder = platform::SHGetFolderPathW(platform::kCsidlCommonAppData);
  if (!folder) return std::u16string(fallback);
  return *folder + std::u16string(suffix);
}

}  // namespace

std::u16string GetAppLogPath() { return PathUnderCommonAppData(kLogSuffix, kLogFallback); }

std::u16string GetPseudoLockPath() {
  return PathUnderCommonAppData(kPseudoLockSuffix, kPseudoLockFallback);
}

std::u16string GetUninstallAuthPath() {
  return PathUnderCommonAppData(kUninstallAuthSuffix, kUninstallAuthFallback);
}
