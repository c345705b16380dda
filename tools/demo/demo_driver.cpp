// Plays Dart for the main job: connects to the running executable through the engine stand-in,
// calls a few methods on the system commands channel, asks the device monitor what is connected
// and tells it of a drive that arrived, reads the machine inventory, shows a marquee and a popup,
// then has the window blocker hide and close windows of another program, and prints what comes
// back.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <thread>

#include "blocker_target_client.h"
#include "channels/standard_codec.h"
#include "engine_driver.h"
#include "method_calls.h"
#include "wine_process.h"

namespace {

using namespace std::chrono_literals;

std::string Describe(const driver::MethodReply& reply) {
  switch (reply.kind) {
    case driver::MethodReply::Kind::kNotImplemented:
      return "not implemented";
    case driver::MethodReply::Kind::kError:
      return "error " + reply.errorCode + ": " + reply.errorMessage;
    case driver::MethodReply::Kind::kSuccess:
      break;
  }
  if (const auto* value = std::get_if<bool>(&reply.value))
    return std::string("success, bool ") + (*value ? "true" : "false");
  if (const auto* value = std::get_if<int64_t>(&reply.value))
    return "success, 64-bit integer " + std::to_string(*value);
  if (const auto* value = std::get_if<int32_t>(&reply.value))
    return "success, 32-bit integer " + std::to_string(*value);
  return "success, alternative " + std::to_string(reply.value.index());
}

std::string Text(const EncodableMap& map, const char* key) {
  const auto it = map.find(EncodableValue(key));
  if (it == map.end()) return "";
  const auto* text = std::get_if<std::string>(&it->second);
  return text ? *text : "";
}

// Rules from "Dart", windows from a program in C:\tests, and the snapshot that reports it all.
void DemoWindowBlocker(driver::EngineDriver& engine, const char* screenshot) {
  constexpr char kChannel[] = "com.kelvo.tarnel/window_blocker";
  const auto call = [&](const char* method, std::optional<EncodableValue> arguments) {
    driver::MethodReply reply =
        driver::CallMethod(engine, kChannel, method, std::move(arguments), 20s);
    std::cout << "  " << method << " -> " << Describe(reply) << "\n";
    return reply;
  };
  call("startMonitoring", std::nullopt);
  call("setEnabled", EncodableMap{{"enabled", true}});
  std::cout << "  rules: hide titles with \"special offer\", close titles with \"newsletter\"\n";
  call("replaceRules",
       EncodableMap{{"rules", EncodableList{EncodableMap{{"id", "hide-offers"},
                                                         {"titleKeyword", "special offer"},
                                                         {"action", "hide"}},
                                            EncodableMap{{"id", "close-newsletters"},
                                                         {"titleKeyword", "newsletter"},
                                                         {"action", "close"}}}}});
  e2e::Target target("tests/blocker_target.exe", driver::WineRoot());
  const char* const titles[] = {"Quarterly notes", "A Special Offer for you", "Newsletter sign-up"};
  int64_t windows[3];
  for (int i = 0; i < 3; ++i) windows[i] = target.Open("DemoWindow", titles[i]);
  std::this_thread::sleep_for(1500ms);
  std::cout << "  " << e2e::WindowsPathOf("tests/blocker_target.exe") << " opened:\n";
  for (int i = 0; i < 3; ++i) {
    std::cout << "    \"" << titles[i] << "\" -> " << target.StateOf(windows[i]).visibility << "\n";
  }
  if (screenshot) {
    const std::string command = std::string("import -window root '") + screenshot + "'";
    if (std::system(command.c_str()) == 0) std::cout << "  screenshot: " << screenshot << "\n";
  }
  const driver::MethodReply snapshot = call("getSnapshot", std::nullopt);
  const auto* map = std::get_if<EncodableMap>(&snapshot.value);
  if (!map) return;
  for (const EncodableValue& entry :
       std::get<EncodableList>(map->at(EncodableValue("blockedLogs")))) {
    const auto& log = std::get<EncodableMap>(entry);
    std::cout << "    log: " << Text(log, "ruleId") << " " << Text(log, "action") << " \""
              << Text(log, "title") << "\" of " << Text(log, "exePath") << "\n";
  }
}

// The sections of the device status, and a drive's arrival as WM_DEVICECHANGE delivers it.
void DemoDeviceMonitor(driver::EngineDriver& engine) {
  constexpr char kChannel[] = "com.kelvo.tarnel/device_monitor";
  const driver::MethodReply status =
      driver::CallMethod(engine, kChannel, "getDeviceStatusDetailed", std::nullopt, 20s);
  std::cout << "  getDeviceStatusDetailed -> " << Describe(status) << "\n";
  if (const auto* sections = std::get_if<EncodableMap>(&status.value)) {
    for (const auto& [name, section] : *sections) {
      const auto& fields = std::get<EncodableMap>(section);
      const auto& devices = std::get<EncodableList>(fields.at(EncodableValue("devices")));
      std::cout << "    " << std::get<std::string>(name) << ": " << Text(fields, "status") << " ("
                << devices.size() << ")\n";
    }
  }
  // DEV_BROADCAST_VOLUME for drive D: (unit mask 8), arriving.
  driver::Bytes volume(18, 0);
  const std::uint32_t header[] = {18, 2, 0, 8};
  std::memcpy(volume.data(), header, sizeof header);
  engine.SendWindowMessage(0x0219, 0x8000, 0, volume, 20s);
  const frames::NativeMessage changed = engine.WaitForNativeMessage(kChannel, 20s);
  const auto call = StandardMethodCodec::GetInstance().DecodeMethodCall(changed.payload);
  std::cout << "  WM_DEVICECHANGE (drive D: arrived) -> Dart got "
            << (call ? call->method_name() : std::string("something else")) << "\n";
}

// What the inventory methods answer about the Wine prefix and this machine.
void DemoInventory(driver::EngineDriver& engine) {
  constexpr char kChannel[] = "com.kelvo.tarnel/device_monitor";
  const auto call = [&](const char* method) {
    return driver::CallMethod(engine, kChannel, method, std::nullopt, 20s);
  };
  const driver::MethodReply hardware = call("getHardwareSpecs");
  std::cout << "  getHardwareSpecs -> " << Describe(hardware) << "\n";
  if (const auto* map = std::get_if<EncodableMap>(&hardware.value)) {
    for (const char* key : {"processor", "memory", "computerSystem"}) {
      std::cout << "    " << key << ": " << Text(*map, key) << "\n";
    }
  }
  const driver::MethodReply report = call("getStartupReportInfo");
  std::cout << "  getStartupReportInfo -> " << Describe(report) << "\n";
  if (const auto* map = std::get_if<EncodableMap>(&report.value)) {
    for (const auto& [key, value] : *map) {
      const auto* text = std::get_if<std::string>(&value);
      const auto* number = std::get_if<int32_t>(&value);
      std::cout << "    " << std::get<std::string>(key) << ": "
                << (text     ? *text
                    : number ? std::to_string(*number)
                             : std::string("?"))
                << "\n";
    }
  }
  const driver::MethodReply drivers = call("getDriverList");
  const auto* list = std::get_if<EncodableList>(&drivers.value);
  std::cout << "  getDriverList -> "
            << (list ? std::to_string(list->size()) + " drivers" : Describe(drivers)) << "\n";
  const driver::MethodReply serial = call("getWindowsProductSerialNumber");
  const auto* text = std::get_if<std::string>(&serial.value);
  std::cout << "  getWindowsProductSerialNumber -> \"" << (text ? *text : Describe(serial))
            << "\"\n";
}

// An English prefix, then the marquee and the popup on screen, each caught in a screenshot.
void DemoOverlay(driver::EngineDriver& engine, const std::string& shots) {
  constexpr char kChannel[] = "com.kelvo.tarnel/overlay_notification";
  const auto call = [&](const char* method, EncodableMap arguments) {
    const driver::MethodReply reply =
        driver::CallMethod(engine, kChannel, method, EncodableValue(std::move(arguments)), 20s);
    std::cout << "  " << method << " -> " << Describe(reply) << "\n";
  };
  const auto shoot = [&](const std::string& name) {
    if (shots.empty()) return;
    std::this_thread::sleep_for(1500ms);
    const std::string path = shots + "/" + name;
    const std::string command = "import -window root '" + path + "' 2>/dev/null";
    if (std::system(command.c_str()) == 0) std::cout << "  screenshot: " << path << "\n";
  };
  call("setNativeStrings", {{EncodableValue("marqueePrefix"), EncodableValue("Notice: ")}});
  call("showMarquee", {{EncodableValue("title"), EncodableValue("Maintenance")},
                       {EncodableValue("content"), EncodableValue("the lab closes at 18:00")},
                       {EncodableValue("playCount"), EncodableValue(int32_t{1})}});
  call("showPopup",
       {{EncodableValue("title"), EncodableValue("Reminder")},
        {EncodableValue("content"), EncodableValue("Save your work before you leave.")},
        {EncodableValue("duration"), EncodableValue(int32_t{10})}});
  shoot("overlay.png");
  call("closeMarquee", {});
  call("closePopup", {});
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 && argc != 3) {
    std::cerr << "usage: demo_driver PORT [SCREENSHOT]\n";
    return 2;
  }
  const auto port = static_cast<uint16_t>(std::atoi(argv[1]));
  constexpr char kChannel[] = "com.kelvo.tarnel/system_commands";
  try {
    auto engine = driver::EngineDriver::Connect(port, 90s);
    std::string created = engine->WaitForEvent("engine-created", 90s);
    for (char& c : created) {
      if (c == '\n') c = ' ';
    }
    std::cout << "  engine-created: " << created << "\n";
    std::cout << "  view-created: " << engine->WaitForEvent("view-created", 30s) << "\n";
    engine->WaitForHandlerSet(kChannel, 30s);
    std::cout << "  handler-set: " << kChannel << "\n";
    for (const char* method :
         {"getIdleSeconds", "turnOffDisplay", "GetIdleSeconds", "reticulateSplines"}) {
      std::cout << "  " << method << " -> "
                << Describe(driver::CallMethod(*engine, kChannel, method, std::nullopt, 20s))
                << "\n";
    }
    std::cout << "\n== Device monitor\n";
    DemoDeviceMonitor(*engine);
    std::cout << "\n== Machine inventory\n";
    DemoInventory(*engine);
    std::cout << "\n== Overlay notices\n";
    std::string shots = argc == 3 ? argv[2] : "";
    shots =
        shots.substr(0, shots.find_last_of('/') == std::string::npos ? 0 : shots.find_last_of('/'));
    DemoOverlay(*engine, shots);
    std::cout << "\n== Window blocker\n";
    DemoWindowBlocker(*engine, argc == 3 ? argv[2] : nullptr);
  } catch (const std::exception& error) {
    std::cerr << "demo driver: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
