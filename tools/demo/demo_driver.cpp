// Plays Dart for the main job: connects to the running executable through the engine stand-in,
// calls a few methods on the system commands channel and prints what comes back.
#include <cstdlib>
#include <iostream>
#include <string>

#include "engine_driver.h"
#include "method_calls.h"

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

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: demo_driver PORT\n";
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
  } catch (const std::exception& error) {
    std::cerr << "demo driver: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
