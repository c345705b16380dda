// The driver's view of the main window: the FlutterWindow behind the launch interface, so that
// the window classes keep their own virtual table to themselves.
#include <memory>

#include "host/flutter_window.h"
#include "host/main_window.h"

namespace {

class FlutterMainWindow : public MainWindow {
 public:
  explicit FlutterMainWindow(const DartProject& project) : window(project) {}

  bool CreateAndShow(const std::u16string& title, int x, int y, unsigned width,
                     unsigned height) override {
    return window.CreateAndShow(title, {x, y}, {width, height});
  }
  bool CreateHidden(const std::u16string& title, int x, int y, unsigned width,
                    unsigned height) override {
    return window.CreateHidden(title, {x, y}, {width, height});
  }
  platform::WindowHandle GetHandle() const override { return window.GetHandle(); }
  void SetQuitOnClose(bool quitOnClose) override { window.SetQuitOnClose(quitOnClose); }

 private:
  FlutterWindow window;
};

}  // namespace

std::unique_ptr<MainWindow> CreateFlutterWindow(const DartProject& project) {
  return std::make_unique<FlutterMainWindow>(project);
}
