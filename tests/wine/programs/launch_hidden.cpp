// Starts a program with show command 0, as a service or a scheduled task does, and waits for
// it: the launcher's exit code is the program's.
#include <windows.h>

#include <string>

int wmain(int argc, wchar_t** argv) {
  if (argc < 2) return 100;
  std::wstring commandLine = L"\"" + std::wstring(argv[1]) + L"\"";
  for (int i = 2; i < argc; ++i) commandLine += L" \"" + std::wstring(argv[i]) + L"\"";
  STARTUPINFOW startup = {};
  startup.cb = sizeof(startup);
  startup.dwFlags = STARTF_USESHOWWINDOW;
  startup.wShowWindow = SW_HIDE;
  PROCESS_INFORMATION process = {};
  if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                      &startup, &process)) {
    return 101;
  }
  WaitForSingleObject(process.hProcess, INFINITE);
  DWORD code = 102;
  GetExitCodeProcess(process.hProcess, &code);
  CloseHandle(process.hThread);
  CloseHandle(process.hProcess);
  return static_cast<int>(code);
}
