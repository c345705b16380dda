#include <windows.h>

#include "launch/launch_driver.h"

int APIENTRY wWinMain(HINSTANCE instance, HINSTANCE, wchar_t*, int showCommand) {
  return RunLaunchDriver(instance, showCommand);
}
