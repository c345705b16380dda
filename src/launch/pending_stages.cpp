// Start-up stages whose modules are not in this build yet. Each reports the failure that its
// absence is, so that no stage logs a success it did not have: the main window is never
// created.
#include <windows.h>

#include "launch/launch_stages.h"

namespace {

class MissingMainWindow : public MainWindow {
 public:
  bool CreateAndShow(const std::u16string&, int, int, unsigned, unsigned) override {
    return Fail();
  }
  bool CreateHidden(const std::u16string&, int, int, unsigned, unsigned) override { return Fail(); }
  platform::NativeHandle GetHandle() const override { return nullptr; }
  void SetQuitOnClose(bool) override {}

 private:
  static bool Fail() {
    ::SetLastError(ERROR_CALL_NOT_IMPLEMENTED);
    return false;
  }
};

}  // namespace

std::unique_ptr<MainWindow> CreateFlutterWindow(const DartProject&) {
  return std::make_unique<MissingMainWindow>();
}
