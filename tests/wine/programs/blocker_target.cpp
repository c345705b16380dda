// A program whose windows the blocker acts on under Wine. It connects to a Linux test over TCP
// and opens, shows and reports on top-level windows as told, one command per line:
//
//   open CLASS<TAB>TITLE<TAB>WIDTH<TAB>HEIGHT<TAB>SHOW  -> ok HWND
//   show HWND | notify HWND                            -> ok
//   state HWND          -> ok visible|hidden|gone CLOSES SYSCLOSES
//   latency N CLASS<TAB>TITLE  -> ok MICROSECONDS...  (shown until hidden by someone else)
//   hooklatency N             -> ok MICROSECONDS...  (shown until this program's own hook sees it)
//   storm N BATCH HIDECLASS<TAB>CLOSECLASS<TAB>PLAINCLASS
//        -> ok HIDDEN CLOSED MISSED TOUCHED MILLISECONDS  (N windows, a third of each class,
//           BATCH at a time: shown, waited on until the blocker acted, then destroyed)
//   usage -> ok PRIVATEBYTES HANDLES  (of the process that owns the application's window)
//   activate HWND | foreground -> ok [HWND]  (make a window of ours active; the active window)
//   windows CLASS -> ok COUNT (HWND LEFT TOP RIGHT BOTTOM EXSTYLE VISIBLE)...
//   quit
//
// Wine never raises EVENT_OBJECT_SHOW, so every show raises it here, as Windows would.
#include <winsock2.h>
#include <windows.h>

#include <psapi.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "message_pump.h"

namespace {

using test_windows::PumpMessages;
using test_windows::PumpUntil;

constexpr DWORD kSettleMs = 250;  // longer than the rescans that the create event starts
constexpr DWORD kLatencyLimitMs = 5000;

struct WindowRecord {
  int closes = 0;
  int sysCloses = 0;
  LONGLONG hiddenAt = 0;  // performance counter at the first hide
};

std::map<HWND, WindowRecord> records;

LONGLONG Now() {
  LARGE_INTEGER counter;
  QueryPerformanceCounter(&counter);
  return counter.QuadPart;
}

long long Microseconds(LONGLONG from, LONGLONG to) {
  LARGE_INTEGER frequency;
  QueryPerformanceFrequency(&frequency);
  return (to - from) * 1000000LL / frequency.QuadPart;
}

void NoteHidden(HWND window) {
  WindowRecord& record = records[window];
  if (record.hiddenAt == 0) record.hiddenAt = Now();
}

LRESULT CALLBACK TargetProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  switch (message) {
    case WM_CLOSE:
      ++records[window].closes;
      break;
    case WM_SYSCOMMAND:
      if ((wParam & 0xFFF0) == SC_CLOSE) ++records[window].sysCloses;
      break;
    case WM_SHOWWINDOW:
      if (!wParam) NoteHidden(window);
      break;
    case WM_WINDOWPOSCHANGED:
      if (reinterpret_cast<const WINDOWPOS*>(lParam)->flags & SWP_HIDEWINDOW) NoteHidden(window);
      break;
    default:
      break;
  }
  return DefWindowProcW(window, message, wParam, lParam);
}

std::wstring Wide(const std::string& text) {
  if (text.empty()) return {};
  const int size =
      MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
  std::wstring wide(static_cast<size_t>(size), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
  return wide;
}

HWND OpenWindow(const std::wstring& className, const std::wstring& title, int width, int height) {
  test_windows::RegisterClassOnce(className.c_str(), TargetProc);
  static int offset = 0;
  offset = (offset + 37) % 400;
  HWND window = CreateWindowExW(0, className.c_str(), title.c_str(), WS_OVERLAPPEDWINDOW,
                                60 + offset, 60 + offset, width, height, nullptr, nullptr,
                                GetModuleHandleW(nullptr), nullptr);
  if (window) records[window] = {};
  return window;
}

void RaiseShow(HWND window) {
  NotifyWinEvent(EVENT_OBJECT_SHOW, window, OBJID_WINDOW, CHILDID_SELF);
}

HWND ParseHandle(const std::string& text) {
  return reinterpret_cast<HWND>(static_cast<uintptr_t>(std::strtoull(text.c_str(), nullptr, 10)));
}

std::vector<std::string> SplitTabs(const std::string& text) {
  std::vector<std::string> parts;
  size_t start = 0;
  for (;;) {
    const size_t tab = text.find('\t', start);
    parts.push_back(text.substr(start, tab - start));
    if (tab == std::string::npos) return parts;
    start = tab + 1;
  }
}

// Each window starts hidden and rests until the rescans of its create event are over, so that
// only the show event can act on it.
std::string MeasureUntilHidden(int count, const std::wstring& className,
                               const std::wstring& title) {
  std::string reply = "ok";
  for (int i = 0; i < count; ++i) {
    HWND window = OpenWindow(className, title, 400, 300);
    if (!window) return "error CreateWindowExW " + std::to_string(GetLastError());
    PumpUntil(kSettleMs, [] { return false; });
    ShowWindow(window, SW_SHOWNOACTIVATE);
    const LONGLONG shown = Now();
    records[window].hiddenAt = 0;
    RaiseShow(window);
    const bool hidden = PumpUntil(kLatencyLimitMs, [&] {
      if (!IsWindowVisible(window)) NoteHidden(window);
      return records[window].hiddenAt != 0;
    });
    reply += ' ';
    reply += std::to_string(hidden ? Microseconds(shown, records[window].hiddenAt) : -1);
    DestroyWindow(window);
  }
  return reply;
}

// The bare hook: a thread of this program with an out-of-context hook for EVENT_OBJECT_SHOW.
std::atomic<HWND> awaitedWindow{nullptr};
std::atomic<LONGLONG> eventAt{0};

void CALLBACK BareHookCallback(HWINEVENTHOOK, DWORD event, HWND window, LONG objectId, LONG childId,
                               DWORD, DWORD) {
  if (event == EVENT_OBJECT_SHOW && objectId == OBJID_WINDOW && childId == CHILDID_SELF &&
      window == awaitedWindow.load()) {
    LONGLONG expected = 0;
    eventAt.compare_exchange_strong(expected, Now());
  }
}

std::string MeasureBareHook(int count) {
  std::atomic<DWORD> hookThreadId{0};
  std::atomic<bool> hooked{false};
  std::thread hookThread([&] {
    MSG message;
    PeekMessageW(&message, nullptr, WM_USER, WM_USER, PM_NOREMOVE);
    HWINEVENTHOOK hook = SetWinEventHook(EVENT_OBJECT_SHOW, EVENT_OBJECT_SHOW, nullptr,
                                         BareHookCallback, 0, 0, WINEVENT_OUTOFCONTEXT);
    hooked.store(hook != nullptr);
    hookThreadId.store(GetCurrentThreadId());
    while (GetMessageW(&message, nullptr, 0, 0) > 0) DispatchMessageW(&message);
    if (hook) UnhookWinEvent(hook);
  });
  while (hookThreadId.load() == 0) Sleep(1);
  std::string reply = hooked.load() ? "ok" : "error SetWinEventHook";
  for (int i = 0; hooked.load() && i < count; ++i) {
    HWND window = OpenWindow(L"KtBareHookProbe", L"bare hook probe", 400, 300);
    PumpUntil(kSettleMs, [] { return false; });
    eventAt.store(0);
    awaitedWindow.store(window);
    ShowWindow(window, SW_SHOWNOACTIVATE);
    const LONGLONG shown = Now();
    RaiseShow(window);
    const bool seen = PumpUntil(kLatencyLimitMs, [] { return eventAt.load() != 0; });
    reply += ' ';
    reply += std::to_string(seen ? Microseconds(shown, eventAt.load()) : -1);
    awaitedWindow.store(nullptr);
    DestroyWindow(window);
  }
  PostThreadMessageW(hookThreadId.load(), WM_QUIT, 0, 0);
  hookThread.join();
  return reply;
}

// Windows of three kinds in batches: the blocker must hide the first kind and close the second,
// and leave the third alone. Each batch waits until every window of the first two kinds was
// acted on (or a bound passed), then all its windows go.
std::string Storm(int count, int batch, const std::vector<std::wstring>& classes) {
  constexpr DWORD kBatchBoundMs = 20000;
  int hidden = 0;
  int closed = 0;
  int missed = 0;
  int touched = 0;
  const LONGLONG start = Now();
  for (int done = 0; done < count;) {
    std::vector<std::pair<HWND, int>> windows;
    for (int i = 0; i < batch && done < count; ++i, ++done) {
      const int kind = done % 3;
      HWND window = OpenWindow(classes[kind], L"Storm", 200, 120);
      if (!window) return "error CreateWindowExW " + std::to_string(GetLastError());
      ShowWindow(window, SW_SHOWNOACTIVATE);
      RaiseShow(window);
      windows.emplace_back(window, kind);
    }
    const auto acted = [](HWND window, int kind) {
      const WindowRecord& record = records[window];
      if (kind == 0) return !IsWindowVisible(window);
      return kind == 1 && record.closes + record.sysCloses > 0;
    };
    PumpUntil(kBatchBoundMs, [&] {
      for (const auto& [window, kind] : windows) {
        if (kind != 2 && !acted(window, kind)) return false;
      }
      return true;
    });
    // The blocker's rescans of the last window have run their course by now.
    PumpMessages();
    for (const auto& [window, kind] : windows) {
      if (kind == 2) {
        const WindowRecord& record = records[window];
        if (!IsWindowVisible(window) || record.closes + record.sysCloses > 0) ++touched;
      } else if (!acted(window, kind)) {
        ++missed;
      } else {
        ++(kind == 0 ? hidden : closed);
      }
      DestroyWindow(window);
      records.erase(window);
    }
  }
  return "ok " + std::to_string(hidden) + " " + std::to_string(closed) + " " +
         std::to_string(missed) + " " + std::to_string(touched) + " " +
         std::to_string(Microseconds(start, Now()) / 1000);
}

// Wine answers 0 for another process's private bytes and handle count; its commit charge
// (which Windows gives as the same number) and the system's handle table say it instead.
std::size_t HandlesOf(DWORD pid) {
  struct Entry {
    PVOID object;
    ULONG_PTR processId;
    ULONG_PTR handle;
    ULONG access;
    USHORT backTrace;
    USHORT type;
    ULONG attributes;
    ULONG reserved;
  };
  struct Table {
    ULONG_PTR count;
    ULONG_PTR reserved;
    Entry entries[1];
  };
  using Query = LONG(WINAPI*)(ULONG, PVOID, ULONG, PULONG);
  const auto query = reinterpret_cast<Query>(reinterpret_cast<void*>(
      GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQuerySystemInformation")));
  if (!query) return 0;
  constexpr ULONG kExtendedHandleInformation = 64;
  std::vector<char> buffer(1 << 20);
  for (int tries = 0; tries < 8; ++tries) {
    ULONG length = 0;
    const LONG status = query(kExtendedHandleInformation, buffer.data(),
                              static_cast<ULONG>(buffer.size()), &length);
    if (status == 0) {
      const auto* table = reinterpret_cast<const Table*>(buffer.data());
      std::size_t count = 0;
      for (ULONG_PTR i = 0; i < table->count; ++i) {
        if (table->entries[i].processId == pid) ++count;
      }
      return count;
    }
    buffer.resize(buffer.size() * 2);
  }
  return 0;
}

std::string Usage() {
  HWND main = FindWindowW(L"FLUTTER_RUNNER_WIN32_WINDOW", nullptr);
  DWORD pid = 0;
  if (!main || !GetWindowThreadProcessId(main, &pid)) return "error no application window";
  HANDLE process = OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, pid);
  if (!process) return "error OpenProcess " + std::to_string(GetLastError());
  PROCESS_MEMORY_COUNTERS_EX memory = {};
  memory.cb = sizeof(memory);
  DWORD handles = 0;
  const bool ok = GetProcessMemoryInfo(process, reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory),
                                       sizeof(memory));
  const DWORD error = GetLastError();
  if (!GetProcessHandleCount(process, &handles)) handles = 0;
  CloseHandle(process);
  if (!ok) return "error GetProcessMemoryInfo " + std::to_string(error);
  const SIZE_T privateBytes = memory.PrivateUsage != 0 ? memory.PrivateUsage : memory.PagefileUsage;
  const std::size_t handleCount = handles != 0 ? handles : HandlesOf(pid);
  if (privateBytes == 0 || handleCount == 0) return "error no counters for the process";
  return "ok " + std::to_string(privateBytes) + " " + std::to_string(handleCount);
}

std::string Execute(const std::string& line, bool* quit) {
  std::istringstream words(line);
  std::string verb;
  words >> verb;
  std::string rest;
  std::getline(words, rest);
  if (!rest.empty() && rest.front() == ' ') rest = rest.substr(1);
  if (verb == "open") {
    const std::vector<std::string> fields = SplitTabs(rest);
    if (fields.size() != 5) return "error open wants 5 fields";
    HWND window = OpenWindow(Wide(fields[0]), Wide(fields[1]), std::atoi(fields[2].c_str()),
                             std::atoi(fields[3].c_str()));
    if (!window) return "error CreateWindowExW " + std::to_string(GetLastError());
    if (fields[4] == "1") {
      ShowWindow(window, SW_SHOWNOACTIVATE);
      RaiseShow(window);
    }
    return "ok " + std::to_string(reinterpret_cast<uintptr_t>(window));
  }
  if (verb == "show" || verb == "notify") {
    HWND window = ParseHandle(rest);
    if (!IsWindow(window)) return "error no such window";
    if (verb == "show") ShowWindow(window, SW_SHOWNOACTIVATE);
    RaiseShow(window);
    return "ok";
  }
  if (verb == "state") {
    PumpMessages();
    HWND window = ParseHandle(rest);
    const WindowRecord& record = records[window];
    const char* state = !IsWindow(window) ? "gone" : IsWindowVisible(window) ? "visible" : "hidden";
    return std::string("ok ") + state + " " + std::to_string(record.closes) + " " +
           std::to_string(record.sysCloses);
  }
  if (verb == "latency") {
    std::istringstream arguments(rest);
    int count = 0;
    arguments >> count;
    std::string names;
    std::getline(arguments, names);
    if (!names.empty() && names.front() == ' ') names = names.substr(1);
    const std::vector<std::string> fields = SplitTabs(names);
    if (count < 1 || fields.size() != 2) return "error latency wants N CLASS<TAB>TITLE";
    return MeasureUntilHidden(count, Wide(fields[0]), Wide(fields[1]));
  }
  if (verb == "hooklatency") {
    const int count = std::atoi(rest.c_str());
    if (count < 1) return "error hooklatency wants N";
    return MeasureBareHook(count);
  }
  if (verb == "storm") {
    std::istringstream arguments(rest);
    int count = 0;
    int batch = 0;
    arguments >> count >> batch;
    std::string names;
    std::getline(arguments, names);
    if (!names.empty() && names.front() == ' ') names = names.substr(1);
    const std::vector<std::string> fields = SplitTabs(names);
    if (count < 1 || batch < 1 || fields.size() != 3) return "error storm wants N BATCH 3 classes";
    return Storm(count, batch, {Wide(fields[0]), Wide(fields[1]), Wide(fields[2])});
  }
  if (verb == "usage") return Usage();
  // For the overlay's test: a window of ours made active, what is active, and the windows of a
  // class with their rectangles, extended styles and visibility.
  if (verb == "activate") {
    HWND window = ParseHandle(rest);
    return SetForegroundWindow(window) ? "ok" : "error SetForegroundWindow";
  }
  if (verb == "foreground") {
    return "ok " + std::to_string(reinterpret_cast<uintptr_t>(GetForegroundWindow()));
  }
  if (verb == "windows") {
    struct Found {
      std::wstring className;
      std::string reply;
      int count = 0;
    } found{Wide(rest), "", 0};
    EnumWindows(
        [](HWND window, LPARAM parameter) -> BOOL {
          auto* f = reinterpret_cast<Found*>(parameter);
          wchar_t name[256] = {};
          GetClassNameW(window, name, 256);
          if (f->className != name) return TRUE;
          RECT r{};
          GetWindowRect(window, &r);
          ++f->count;
          std::ostringstream entry;
          entry << ' ' << reinterpret_cast<uintptr_t>(window) << ' ' << r.left << ' ' << r.top
                << ' ' << r.right << ' ' << r.bottom << ' ' << GetWindowLongW(window, GWL_EXSTYLE)
                << ' ' << (IsWindowVisible(window) ? 1 : 0);
          f->reply += entry.str();
          return TRUE;
        },
        reinterpret_cast<LPARAM>(&found));
    return "ok " + std::to_string(found.count) + found.reply;
  }
  if (verb == "quit") {
    *quit = true;
    return "ok";
  }
  return "error unknown command " + verb;
}

bool SendAll(SOCKET socket, const std::string& text) {
  size_t sent = 0;
  while (sent < text.size()) {
    const int n = send(socket, text.data() + sent, static_cast<int>(text.size() - sent), 0);
    if (n == SOCKET_ERROR) {
      if (WSAGetLastError() == WSAEWOULDBLOCK) {
        Sleep(1);
        continue;
      }
      return false;
    }
    sent += static_cast<size_t>(n);
  }
  return true;
}

int Serve(SOCKET socket) {
  WSAEVENT readable = WSACreateEvent();
  WSAEventSelect(socket, readable, FD_READ | FD_CLOSE);
  std::string buffer;
  bool quit = false;
  while (!quit) {
    const DWORD woke = MsgWaitForMultipleObjects(1, &readable, FALSE, INFINITE, QS_ALLINPUT);
    if (woke == WAIT_OBJECT_0 + 1) {
      PumpMessages();
      continue;
    }
    WSAResetEvent(readable);
    char chunk[4096];
    for (;;) {
      const int n = recv(socket, chunk, sizeof(chunk), 0);
      // The test is gone when the connection closes or fails; only "nothing yet" waits on.
      if (n == 0 || (n < 0 && WSAGetLastError() != WSAEWOULDBLOCK)) quit = true;
      if (n <= 0) break;
      buffer.append(chunk, static_cast<size_t>(n));
    }
    size_t end;
    while (!quit && (end = buffer.find('\n')) != std::string::npos) {
      const std::string line = buffer.substr(0, end);
      buffer.erase(0, end + 1);
      if (!SendAll(socket, Execute(line, &quit) + "\n")) quit = true;
    }
  }
  WSACloseEvent(readable);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: blocker_target PORT\n");
    return 2;
  }
  WSADATA data;
  if (WSAStartup(MAKEWORD(2, 2), &data) != 0) return 3;
  SOCKET socket = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(static_cast<u_short>(std::atoi(argv[1])));
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (socket == INVALID_SOCKET ||
      connect(socket, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0) {
    std::fprintf(stderr, "blocker_target: cannot connect to port %s (%d)\n", argv[1],
                 WSAGetLastError());
    WSACleanup();
    return 4;
  }
  const int code = Serve(socket);
  closesocket(socket);
  WSACleanup();
  return code;
}
