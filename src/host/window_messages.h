// The main window's private messages. The activation pipe thread posts kMsgShowWindow from
// outside the window layer, so both sides read the numbers from here.
#pragma once

constexpr unsigned kMsgTrayIcon = 1025;    // WM_USER + 1: the tray icon's callback
constexpr unsigned kMsgShowWindow = 1034;  // WM_USER + 10: show the main window
