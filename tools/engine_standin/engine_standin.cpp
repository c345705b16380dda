// Stand-in for the engine's flutter_windows.dll in the test layout. It keeps the executable's
// receive functions, gives it a child window as the view, and carries messages to and from a
// test driver over TCP when KT_ENGINE_PORT is set.
#include <winsock2.h>
#include <windows.h>
#include <shellscalingapi.h>

#include <atomic>
#include <cstdlib>
#include <ios>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "driver_link.h"
#include "engine_abi/flutter_embedder.h"
#include "standin_core.h"

extern "C" IMAGE_DOS_HEADER __ImageBase;

struct FlutterDesktopMessenger {
  // The engine holds one reference; the executable may hold more and outlive the engine.
  std::atomic<long> references{1};
  std::mutex lock;
  std::shared_ptr<standin::Core> core;
};

struct FlutterDesktopPluginRegistrar {
  FlutterDesktopEngine* engine = nullptr;
};

struct FlutterDesktopEngine {
  std::shared_ptr<standin::Core> core;
  FlutterDesktopMessenger* messenger = nullptr;
  std::unique_ptr<standin::DriverLink> link;
  std::map<std::string, std::unique_ptr<FlutterDesktopPluginRegistrar>> registrars;
};

struct FlutterDesktopView {
  HWND window = nullptr;
  // The view is a child window from birth; it waits under this hidden window until the host
  // reparents it into its own.
  HWND parking = nullptr;
};

struct FlutterDesktopViewControllerState {
  FlutterDesktopEngine* engine = nullptr;
  FlutterDesktopView view;
};

namespace {

constexpr UINT kDefaultDpi = 96;
constexpr wchar_t kViewClass[] = L"FLUTTERVIEW";
constexpr wchar_t kParkingClass[] = L"KtStandinViewParking";

HINSTANCE ThisModule() { return reinterpret_cast<HINSTANCE>(&__ImageBase); }

std::string ToUtf8(const wchar_t* text) {
  if (!text || !*text) return {};
  const int size = ::WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
  if (size <= 1) return {};
  std::string utf8(static_cast<size_t>(size), '\0');
  ::WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr);
  utf8.resize(static_cast<size_t>(size - 1));
  return utf8;
}

// KT_ENGINE_PORT as a port number; nothing when unset or not a number from 1 to 65535.
std::optional<uint16_t> DriverPort() {
  wchar_t value[16] = {};
  const DWORD length = ::GetEnvironmentVariableW(L"KT_ENGINE_PORT", value, 16);
  if (length == 0 || length >= 16) return std::nullopt;
  unsigned long port = 0;
  for (const wchar_t* c = value; *c; ++c) {
    if (*c < L'0' || *c > L'9') return std::nullopt;
    port = port * 10 + static_cast<unsigned long>(*c - L'0');
    if (port > 65535) return std::nullopt;
  }
  if (port == 0) return std::nullopt;
  return static_cast<uint16_t>(port);
}

void RegisterClassOnce(const wchar_t* name, HBRUSH background) {
  WNDCLASSEXW wc{};
  wc.cbSize = sizeof wc;
  if (::GetClassInfoExW(ThisModule(), name, &wc)) return;
  wc = WNDCLASSEXW{};
  wc.cbSize = sizeof wc;
  wc.lpfnWndProc = ::DefWindowProcW;
  wc.hInstance = ThisModule();
  wc.hCursor = ::LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
  wc.hbrBackground = background;
  wc.lpszClassName = name;
  ::RegisterClassExW(&wc);
}

}  // namespace

// ---- Process-wide helpers ----

UINT FlutterDesktopGetDpiForMonitor(HMONITOR monitor) {
  UINT dpiX = 0;
  UINT dpiY = 0;
  if (monitor && SUCCEEDED(::GetDpiForMonitor(monitor, MDT_EFFECTIVE_DPI, &dpiX, &dpiY)) &&
      dpiX != 0)
    return dpiX;
  // Without a per-monitor answer the screen's logical DPI is the best guess.
  HDC screen = ::GetDC(nullptr);
  const int dpi = screen ? ::GetDeviceCaps(screen, LOGPIXELSX) : 0;
  if (screen) ::ReleaseDC(nullptr, screen);
  return dpi > 0 ? static_cast<UINT>(dpi) : kDefaultDpi;
}

UINT FlutterDesktopGetDpiForHWND(HWND hwnd) {
  return FlutterDesktopGetDpiForMonitor(::MonitorFromWindow(hwnd, MONITOR_DEFAULTTONEAREST));
}

void FlutterDesktopResyncOutputStreams() { std::ios::sync_with_stdio(); }

// ---- Engine ----

FlutterDesktopEngineRef FlutterDesktopEngineCreate(
    const FlutterDesktopEngineProperties* properties) {
  const std::optional<uint16_t> port = DriverPort();
  auto* engine = new FlutterDesktopEngine();
  engine->core = standin::Core::Create(port.has_value());
  engine->messenger = new FlutterDesktopMessenger();
  engine->messenger->core = engine->core;
  engine->core->SetMessenger(engine->messenger);
  if (port) {
    engine->link = standin::DriverLink::Start(*port, engine->core);
    if (!engine->link) engine->core->StopKeepingFrames();
  }

  // One item per line, no line end after the last, so that splitting on '\n' gives them back.
  std::string lines;
  if (properties) {
    lines = ToUtf8(properties->assets_path) + "\n" + ToUtf8(properties->icu_data_path) + "\n" +
            ToUtf8(properties->aot_library_path);
    for (int i = 0; i < properties->dart_entrypoint_argc && properties->dart_entrypoint_argv; ++i) {
      const char* argument = properties->dart_entrypoint_argv[i];
      lines += "\n";
      lines += argument ? argument : "";
    }
  } else {
    lines = "\n\n";
  }
  engine->core->EmitEvent("engine-created", std::move(lines));
  return engine;
}

bool FlutterDesktopEngineDestroy(FlutterDesktopEngineRef engine) {
  if (!engine) return false;
  // First no more deliveries, with engine-destroyed as the last frame; then the link gives the
  // driver its chance to read it before the connection closes.
  engine->core->Shutdown();
  engine->link.reset();
  engine->registrars.clear();
  FlutterDesktopMessengerRelease(engine->messenger);
  delete engine;
  return true;
}

bool FlutterDesktopEngineRun(FlutterDesktopEngineRef engine, const char* /*entry_point*/) {
  return engine != nullptr;
}

uint64_t FlutterDesktopEngineProcessMessages(FlutterDesktopEngineRef /*engine*/) {
  // No engine tasks are ever scheduled. The largest value that reads the same whether the
  // caller takes it as signed or unsigned nanoseconds: "nothing due".
  return static_cast<uint64_t>(INT64_MAX);
}

void FlutterDesktopEngineReloadSystemFonts(FlutterDesktopEngineRef engine) {
  if (engine) engine->core->EmitEvent("fonts-reloaded", "");
}

FlutterDesktopPluginRegistrarRef FlutterDesktopEngineGetPluginRegistrar(
    FlutterDesktopEngineRef engine, const char* plugin_name) {
  if (!engine) return nullptr;
  const std::string name = plugin_name ? plugin_name : "";
  engine->core->EmitEvent("registrar", name);
  auto& registrar = engine->registrars[name];
  if (!registrar) {
    registrar = std::make_unique<FlutterDesktopPluginRegistrar>();
    registrar->engine = engine;
  }
  return registrar.get();
}

FlutterDesktopMessengerRef FlutterDesktopEngineGetMessenger(FlutterDesktopEngineRef engine) {
  return engine ? engine->messenger : nullptr;
}

FlutterDesktopMessengerRef FlutterDesktopPluginRegistrarGetMessenger(
    FlutterDesktopPluginRegistrarRef registrar) {
  return registrar && registrar->engine ? registrar->engine->messenger : nullptr;
}

// ---- View controller and view ----

FlutterDesktopViewControllerRef FlutterDesktopViewControllerCreate(int width, int height,
                                                                   FlutterDesktopEngineRef engine) {
  if (!engine) return nullptr;
  RegisterClassOnce(kParkingClass, nullptr);
  RegisterClassOnce(kViewClass, reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1));
  HWND parking = ::CreateWindowExW(0, kParkingClass, L"", WS_POPUP, 0, 0, 0, 0, nullptr, nullptr,
                                   ThisModule(), nullptr);
  if (!parking) return nullptr;
  HWND view = ::CreateWindowExW(0, kViewClass, L"", WS_CHILD | WS_VISIBLE | WS_CLIPSIBLINGS, 0, 0,
                                width, height, parking, nullptr, ThisModule(), nullptr);
  if (!view) {
    ::DestroyWindow(parking);
    return nullptr;
  }
  auto* controller = new FlutterDesktopViewControllerState();
  controller->engine = engine;
  controller->view.window = view;
  controller->view.parking = parking;
  engine->core->EmitEvent("view-created", std::to_string(width) + "x" + std::to_string(height));
  return controller;
}

void FlutterDesktopViewControllerDestroy(FlutterDesktopViewControllerRef controller) {
  if (!controller) return;
  // The host may already have destroyed the view along with its own window.
  if (::IsWindow(controller->view.window)) ::DestroyWindow(controller->view.window);
  if (::IsWindow(controller->view.parking)) ::DestroyWindow(controller->view.parking);
  FlutterDesktopEngineDestroy(controller->engine);
  delete controller;
}

FlutterDesktopEngineRef FlutterDesktopViewControllerGetEngine(
    FlutterDesktopViewControllerRef controller) {
  return controller ? controller->engine : nullptr;
}

FlutterDesktopViewRef FlutterDesktopViewControllerGetView(
    FlutterDesktopViewControllerRef controller) {
  return controller ? &controller->view : nullptr;
}

void FlutterDesktopViewControllerForceRedraw(FlutterDesktopViewControllerRef controller) {
  if (controller && ::IsWindow(controller->view.window))
    ::InvalidateRect(controller->view.window, nullptr, TRUE);
}

bool FlutterDesktopViewControllerHandleTopLevelWindowProc(
    FlutterDesktopViewControllerRef /*controller*/, HWND /*hwnd*/, UINT /*message*/,
    WPARAM /*wparam*/, LPARAM /*lparam*/, LRESULT* /*result*/) {
  // The stand-in has no use for the top-level window's messages: the host handles them all.
  return false;
}

HWND FlutterDesktopViewGetHWND(FlutterDesktopViewRef view) { return view ? view->window : nullptr; }

// ---- Messenger ----

bool FlutterDesktopMessengerSend(FlutterDesktopMessengerRef messenger, const char* channel,
                                 const uint8_t* message, size_t message_size) {
  return messenger && messenger->core->Send(channel, message, message_size);
}

bool FlutterDesktopMessengerSendWithReply(FlutterDesktopMessengerRef messenger, const char* channel,
                                          const uint8_t* message, size_t message_size,
                                          FlutterDesktopBinaryReply reply, void* user_data) {
  return messenger &&
         messenger->core->SendWithReply(channel, message, message_size, reply, user_data);
}

void FlutterDesktopMessengerSendResponse(FlutterDesktopMessengerRef messenger,
                                         const FlutterDesktopMessageResponseHandle* handle,
                                         const uint8_t* data, size_t data_length) {
  if (messenger) messenger->core->SendResponse(handle, data, data_length);
}

void FlutterDesktopMessengerSetCallback(FlutterDesktopMessengerRef messenger, const char* channel,
                                        FlutterDesktopMessageCallback callback, void* user_data) {
  if (messenger) messenger->core->SetCallback(channel, callback, user_data);
}

FlutterDesktopMessengerRef FlutterDesktopMessengerAddRef(FlutterDesktopMessengerRef messenger) {
  if (messenger) messenger->references.fetch_add(1);
  return messenger;
}

void FlutterDesktopMessengerRelease(FlutterDesktopMessengerRef messenger) {
  if (messenger && messenger->references.fetch_sub(1) == 1) delete messenger;
}

bool FlutterDesktopMessengerIsAvailable(FlutterDesktopMessengerRef messenger) {
  return messenger && messenger->core->IsAvailable();
}

FlutterDesktopMessengerRef FlutterDesktopMessengerLock(FlutterDesktopMessengerRef messenger) {
  if (messenger) messenger->lock.lock();
  return messenger;
}

void FlutterDesktopMessengerUnlock(FlutterDesktopMessengerRef messenger) {
  if (messenger) messenger->lock.unlock();
}
