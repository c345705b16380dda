// Stands in for the program that a made-up file type is registered to open with: it writes the
// path it was asked to open into that path plus ".opened", so that a test sees the shell reached
// it, and with which path. A windows program, so that no console shows up in screenshots.
#include <windows.h>
#include <shellapi.h>

#include <cstdio>
#include <string>

int WINAPI wWinMain(HINSTANCE, HINSTANCE, PWSTR, int) {
  int count = 0;
  LPWSTR* arguments = ::CommandLineToArgvW(::GetCommandLineW(), &count);
  if (!arguments) return 1;
  if (count < 2) {
    ::LocalFree(arguments);
    return 2;
  }
  const std::wstring path = arguments[1];
  ::LocalFree(arguments);
  const int bytes =
      ::WideCharToMultiByte(CP_UTF8, 0, path.c_str(), -1, nullptr, 0, nullptr, nullptr);
  std::string text(bytes > 0 ? bytes - 1 : 0, '\0');
  if (bytes > 1) {
    ::WideCharToMultiByte(CP_UTF8, 0, path.c_str(), -1, text.data(), bytes, nullptr, nullptr);
  }
  FILE* marker = ::_wfopen((path + L".opened").c_str(), L"wb");
  if (!marker) return 3;
  std::fwrite(text.data(), 1, text.size(), marker);
  std::fclose(marker);
  return 0;
}
