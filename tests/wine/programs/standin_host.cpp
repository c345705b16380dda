// A minimal executable for the engine stand-in, so that the stand-in can be driven end to end
// under Wine without the whole application: a runner window, an engine and its view, an echo
// channel, a control channel the driver uses to make the host act, and exports to call.
//
// Anything the host finds wrong with the embedder's answers is counted and printed; the exit
// code is 0 only when nothing was.
#include <windows.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <string>
#include <thread>
#include <vector>

#include "engine_abi/flutter_embedder.h"

namespace {

constexpr wchar_t kRunnerClass[] = L"FLUTTER_RUNNER_WIN32_WINDOW";
constexpr char kEchoChannel[] = "standin_host/echo";
constexpr char kControlChannel[] = "standin_host/control";
constexpr char kEarlyChannel[] = "standin_host/early";
constexpr char kAskChannel[] = "standin_host/ask";
constexpr char kAnswerChannel[] = "standin_host/answer";
constexpr char kWindowChannel[] = "standin_host/window";
constexpr char kNestedChannel[] = "standin_host/nested";
constexpr char kPluginName[] = "StandinHostPlugin";

// Window messages the driver sends to the runner window.
constexpr UINT kMsgPayload = WM_APP + 1;  // lParam: the payload copy, wParam: its size
constexpr UINT kMsgPlain = WM_APP + 2;    // no payload: lParam and wParam as sent

DWORD mainThread = 0;
int problems = 0;
FlutterDesktopEngineRef engine = nullptr;
FlutterDesktopViewControllerRef controller = nullptr;
FlutterDesktopMessengerRef messenger = nullptr;
HWND runner = nullptr;
int nestedDepth = 0;
bool leaveNested = false;
std::vector<const FlutterDesktopMessageResponseHandle*> heldResponses;
std::string echoed;  // every echo payload seen, separated by '|'

void Problem(const char* text) {
  ++problems;
  std::fprintf(stderr, "standin_host: %s\n", text);
  std::fflush(stderr);
}

bool OnPlatformThread() { return ::GetCurrentThreadId() == mainThread; }

void Respond(const FlutterDesktopMessageResponseHandle* handle, const std::string& text) {
  FlutterDesktopMessengerSendResponse(messenger, handle,
                                      reinterpret_cast<const uint8_t*>(text.data()), text.size());
}

void SendText(const char* channel, const std::string& text) {
  if (!FlutterDesktopMessengerSend(messenger, channel,
                                   reinterpret_cast<const uint8_t*>(text.data()), text.size()))
    Problem("Send refused while the engine runs");
}

void OnEcho(FlutterDesktopMessengerRef from, const FlutterDesktopMessage* message, void*) {
  if (from != messenger) Problem("receive function got another messenger");
  if (!OnPlatformThread()) {
    Respond(message->response_handle, "not on the platform thread");
    return;
  }
  echoed += std::string(reinterpret_cast<const char*>(message->message), message->message_size);
  echoed += "|";
  FlutterDesktopMessengerSendResponse(messenger, message->response_handle, message->message,
                                      message->message_size);
}

void OnAnswer(const uint8_t* data, size_t size, void* /*user*/) {
  std::string text = "got:" + std::string(reinterpret_cast<const char*>(data), size);
  text += OnPlatformThread() ? " on the platform thread" : " elsewhere";
  SendText(kAnswerChannel, text);
}

void Ask(const std::string& text) {
  if (!FlutterDesktopMessengerSendWithReply(messenger, kAskChannel,
                                            reinterpret_cast<const uint8_t*>(text.data()),
                                            text.size(), OnAnswer, nullptr))
    Problem("SendWithReply refused while the engine runs");
}

void RunNestedLoop() {
  ++nestedDepth;
  MSG msg;
  while (!leaveNested) {
    const BOOL got = ::GetMessageW(&msg, nullptr, 0, 0);
    if (got <= 0) {
      // WM_QUIT belongs to the outer loop.
      if (got == 0) ::PostQuitMessage(static_cast<int>(msg.wParam));
      break;
    }
    ::TranslateMessage(&msg);
    ::DispatchMessageW(&msg);
  }
  leaveNested = false;
  --nestedDepth;
}

void OnControl(FlutterDesktopMessengerRef, const FlutterDesktopMessage* message, void*) {
  const std::string command(reinterpret_cast<const char*>(message->message), message->message_size);
  const auto* handle = message->response_handle;
  if (!OnPlatformThread()) {
    Respond(handle, "not on the platform thread");
  } else if (command == "depth") {
    Respond(handle, std::to_string(nestedDepth));
  } else if (command == "nested") {
    Respond(handle, "entered");
    RunNestedLoop();
    SendText(kNestedChannel, "nested-returned");
  } else if (command == "leave") {
    leaveNested = true;
    Respond(handle, "left");
  } else if (command == "ask") {
    Ask("ping");
    Respond(handle, "asked");
  } else if (command == "ask-from-thread") {
    std::thread([] { Ask("ping-from-thread"); }).join();
    Respond(handle, "asked");
  } else if (command == "answer-from-thread") {
    std::thread([handle] { Respond(handle, "answered from a thread"); }).join();
  } else if (command == "twice") {
    Respond(handle, "first");
    Respond(handle, "second");
  } else if (command == "hold") {
    heldResponses.push_back(handle);
  } else if (command == "echoed") {
    Respond(handle, echoed);
  } else if (command == "clear-echo") {
    FlutterDesktopMessengerSetCallback(messenger, kEchoChannel, nullptr, nullptr);
    Respond(handle, "cleared");
  } else if (command == "set-echo") {
    FlutterDesktopMessengerSetCallback(messenger, kEchoChannel, OnEcho, nullptr);
    Respond(handle, "set");
  } else if (command == "fonts") {
    FlutterDesktopEngineReloadSystemFonts(engine);
    Respond(handle, "reloaded");
  } else if (command == "destroy-runner") {
    ::DestroyWindow(runner);
    runner = nullptr;
    Respond(handle, "destroyed");
  } else if (command == "quit") {
    Respond(handle, "bye");
    ::PostQuitMessage(0);
  } else {
    FlutterDesktopMessengerSendResponse(messenger, handle, nullptr, 0);
  }
}

LRESULT CALLBACK RunnerProc(HWND window, UINT message, WPARAM wparam, LPARAM lparam) {
  if (controller) {
    LRESULT claimed = 0;
    if (FlutterDesktopViewControllerHandleTopLevelWindowProc(controller, window, message, wparam,
                                                             lparam, &claimed))
      Problem("the engine claimed a top-level window message");
  }
  switch (message) {
    case kMsgPayload: {
      if (!OnPlatformThread()) Problem("window message off the platform thread");
      const auto* bytes = reinterpret_cast<const uint8_t*>(lparam);
      const std::string copy(reinterpret_cast<const char*>(bytes), wparam);
      SendText(kWindowChannel, copy);
      int64_t sum = 0;
      for (size_t i = 0; i < wparam; ++i) sum += bytes[i];
      return static_cast<LRESULT>((int64_t{1} << 40) + sum);
    }
    case kMsgPlain:
      return -static_cast<LRESULT>(lparam) - static_cast<LRESULT>(wparam);
    default:
      return ::DefWindowProcW(window, message, wparam, lparam);
  }
}

HWND CreateRunnerWindow() {
  WNDCLASSEXW wc{};
  wc.cbSize = sizeof wc;
  wc.lpfnWndProc = RunnerProc;
  wc.hInstance = ::GetModuleHandleW(nullptr);
  wc.hCursor = ::LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
  wc.lpszClassName = kRunnerClass;
  ::RegisterClassExW(&wc);
  return ::CreateWindowExW(0, kRunnerClass, L"standin host", WS_OVERLAPPEDWINDOW, 40, 40, 800, 600,
                           nullptr, nullptr, wc.hInstance, nullptr);
}

bool WriteReadyFile(const wchar_t* path) {
  HANDLE file =
      ::CreateFileW(path, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  DWORD written = 0;
  const bool ok = ::WriteFile(file, "ready", 5, &written, nullptr) && written == 5;
  ::CloseHandle(file);
  return ok;
}

}  // namespace

// Called by the driver through the stand-in (kind 8): a buffer argument, a size, a text.
extern "C" __declspec(dllexport) int64_t
    StandinHostReverse(uint8_t* buffer, int64_t size, const wchar_t* text, int64_t value) {
  if (!OnPlatformThread()) return INT64_MIN;
  std::reverse(buffer, buffer + size);
  return value * 1000 + static_cast<int64_t>(std::wcslen(text));
}

// Two buffers, to show that the results come back in argument order.
extern "C" __declspec(dllexport) int64_t
    StandinHostSwap(uint8_t* first, uint8_t* second, int64_t size) {
  std::swap_ranges(first, first + size, second);
  return size;
}

int wmain(int argc, wchar_t** argv) {
  mainThread = ::GetCurrentThreadId();
  const wchar_t* readyFile = nullptr;
  for (int i = 1; i + 1 < argc; ++i) {
    if (std::wcscmp(argv[i], L"--ready-file") == 0) readyFile = argv[i + 1];
  }

  runner = CreateRunnerWindow();
  if (!runner) {
    std::fprintf(stderr, "standin_host: no runner window (error %lu)\n", ::GetLastError());
    return 2;
  }
  ::ShowWindow(runner, SW_SHOW);

  const char* arguments[] = {"--alpha", "beta gamma", "\xc3\xbcn\xc3\xaf"};
  FlutterDesktopEngineProperties properties{};
  properties.assets_path = L"C:\\kt\\data\\flutter_assets";
  properties.icu_data_path = L"C:\\kt\\data\\icudtl.dat";
  properties.aot_library_path = L"C:\\kt\\data\\app_\u00fc.so";
  properties.dart_entrypoint_argc = 3;
  properties.dart_entrypoint_argv = arguments;
  engine = FlutterDesktopEngineCreate(&properties);
  if (!engine) {
    std::fprintf(stderr, "standin_host: no engine\n");
    return 3;
  }
  if (!FlutterDesktopEngineRun(engine, nullptr)) Problem("engine did not run");

  controller = FlutterDesktopViewControllerCreate(640, 480, engine);
  if (!controller) {
    std::fprintf(stderr, "standin_host: no view controller\n");
    return 4;
  }
  if (FlutterDesktopViewControllerGetEngine(controller) != engine)
    Problem("the controller's engine is another one");
  HWND view = FlutterDesktopViewGetHWND(FlutterDesktopViewControllerGetView(controller));

  FlutterDesktopPluginRegistrarRef registrar =
      FlutterDesktopEngineGetPluginRegistrar(engine, kPluginName);
  messenger = FlutterDesktopPluginRegistrarGetMessenger(registrar);
  if (!messenger || messenger != FlutterDesktopEngineGetMessenger(engine))
    Problem("the registrar's messenger is not the engine's");
  if (!FlutterDesktopMessengerIsAvailable(messenger)) Problem("messenger unavailable at start");

  // What a runner does with the view: make it the content of its window.
  if (!::IsWindow(view)) Problem("the view has no window");
  ::SetParent(view, runner);
  if (::GetParent(view) != runner) Problem("the view could not be reparented");
  if (!(::GetWindowLongPtrW(view, GWL_STYLE) & WS_CHILD)) Problem("the view is not a child window");
  RECT client{};
  ::GetClientRect(runner, &client);
  ::MoveWindow(view, 0, 0, client.right, client.bottom, TRUE);
  FlutterDesktopViewControllerForceRedraw(controller);

  FlutterDesktopMessengerSetCallback(messenger, kEchoChannel, OnEcho, nullptr);
  FlutterDesktopMessengerSetCallback(messenger, kControlChannel, OnControl, nullptr);
  // Sent before any driver can be there: the test connects only after the ready file exists.
  SendText(kEarlyChannel, "early-1");
  SendText(kEarlyChannel, "early-2");
  FlutterDesktopEngineProcessMessages(engine);

  if (readyFile && !WriteReadyFile(readyFile)) {
    std::fprintf(stderr, "standin_host: cannot write the ready file (error %lu)\n",
                 ::GetLastError());
    return 5;
  }

  MSG msg;
  while (::GetMessageW(&msg, nullptr, 0, 0) > 0) {
    ::TranslateMessage(&msg);
    ::DispatchMessageW(&msg);
  }

  // Keep the messenger past the engine, as the channel layer does for late answers.
  FlutterDesktopMessengerRef kept = FlutterDesktopMessengerAddRef(messenger);
  FlutterDesktopViewControllerDestroy(controller);
  controller = nullptr;
  FlutterDesktopMessengerLock(kept);
  if (FlutterDesktopMessengerIsAvailable(kept)) Problem("messenger still available after destroy");
  // A late answer must be dropped quietly, never reach a driver or crash.
  for (const auto* handle : heldResponses) {
    const std::string late = "late";
    FlutterDesktopMessengerSendResponse(kept, handle, reinterpret_cast<const uint8_t*>(late.data()),
                                        late.size());
  }
  if (FlutterDesktopMessengerSend(kept, kEarlyChannel, nullptr, 0))
    Problem("Send accepted after destroy");
  FlutterDesktopMessengerUnlock(kept);
  FlutterDesktopMessengerRelease(kept);

  if (runner) ::DestroyWindow(runner);
  return problems == 0 ? 0 : 10 + problems;
}
