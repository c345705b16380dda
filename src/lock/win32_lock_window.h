// The lock window's procedure, for whoever registers a window class with it.
#pragma once

#include <windows.h>

LRESULT CALLBACK LockWindowProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam);
