// What the launch driver needs of the main window, behind an interface of its own so that the
// window classes keep their virtual table to themselves and the driver's tests can put a fake in
// its place.
#pragma once

#include <memory>
#include <string>

#include "host/dart_project.h"
#include "platform/handles.h"

class MainWindow {
 public:
  virtual ~MainWindow() = default;
  virtual bool CreateAndShow(const std::u16string& title, int x, int y, unsigned width,
                             unsigned height) = 0;
  virtual bool CreateHidden(const std::u16string& title, int x, int y, unsigned width,
                            unsigned height) = 0;
  virtual platform::WindowHandle GetHandle() const = 0;
  virtual void SetQuitOnClose(bool quitOnClose) = 0;
};

std::unique_ptr<MainWindow> CreateFlutterWindow(const DartProject& project);
