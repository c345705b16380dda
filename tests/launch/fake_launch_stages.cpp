#include "fake_launch_stages.h"

#include <string>

#include "host/main_window.h"
#include "lock/lock_window.h"
#include "lock/password_store.h"
#include "service/service_bootstrap.h"
#include "single_instance/single_instance.h"
#include "sim_core.h"
#include "sim_kernel.h"
#include "sim_shell.h"

namespace fake {

Stages& stages() {
  static Stages value;
  return value;
}

void ResetStages() { stages() = Stages(); }

}  // namespace fake

namespace {

std::string Utf8(const std::u16string& text) { return {text.begin(), text.end()}; }

class FakeWindow : public MainWindow {
 public:
  ~FakeWindow() override { sim::Record("~FlutterWindow"); }
  bool CreateAndShow(const std::u16string& title, int x, int y, unsigned width,
                     unsigned height) override {
    return Create("CreateAndShow", title, x, y, width, height);
  }
  bool CreateHidden(const std::u16string& title, int x, int y, unsigned width,
                    unsigned height) override {
    return Create("CreateHidden", title, x, y, width, height);
  }
  platform::WindowHandle GetHandle() const override {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a made-up handle, never dereferenced
    return reinterpret_cast<platform::WindowHandle>(std::uintptr_t{0x4242});
  }
  void SetQuitOnClose(bool quitOnClose) override {
    sim::Record(std::string("SetQuitOnClose ") + (quitOnClose ? "true" : "false"));
  }

 private:
  static bool Create(const char* how, const std::u16string& title, int x, int y, unsigned width,
                     unsigned height) {
    sim::Record(std::string(how) + " " + Utf8(title) + " " + std::to_string(x) + "," +
                std::to_string(y) + " " + std::to_string(width) + "x" + std::to_string(height));
    if (!fake::stages().windowCreates) sim::SetLastErrorValue(fake::stages().windowCreateError);
    return fake::stages().windowCreates;
  }
};

}  // namespace

int VerifyUninstallPassword() {
  sim::Record("VerifyUninstallPassword");
  return fake::stages().verifyResult;
}

int RunNativeLockScreen(platform::ModuleHandle /*instance*/) {
  sim::Record("RunNativeLockScreen");
  return fake::stages().lockResult;
}

std::optional<int> ActivateRunningInstance(platform::UniqueKernelHandle& mutex) {
  sim::Record("ActivateRunningInstance");
  mutex.reset();
  return fake::stages().activationResult;
}

bool EnsureServiceRunning() {
  sim::Record("EnsureServiceRunning");
  return fake::stages().serviceRuns;
}

std::unique_ptr<MainWindow> CreateFlutterWindow(const DartProject& project) {
  std::string record = "CreateFlutterWindow " + Utf8(project.assetsPath) + " " +
                       Utf8(project.icuDataPath) + " " + Utf8(project.aotLibraryPath) + " args:";
  for (const auto& argument : project.dartEntrypointArguments) record += " [" + argument + "]";
  sim::Record(record);
  return std::make_unique<FakeWindow>();
}

// The single-instance module's own definitions stay out of the link: the driver reaches these
// instead.
platform::WindowHandle mainWindowHandle = nullptr;
std::atomic<bool> activationPipeStopFlag{false};

void StartActivationPipeServer() { sim::Record("StartActivationPipeServer"); }
