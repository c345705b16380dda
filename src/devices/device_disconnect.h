// Taking one attached device of a named kind off the machine, for `disconnectDevice` and for the
// USB storage policy. Dart names a kind, not a device: the first present device of that kind is
// the one acted on, by the mildest means that works.
#pragma once

#include <string_view>

// The kinds are those of MatchesDeviceType: "monitor", "camera", "camera_360", "projector",
// "keyboard", "mouse", "usb_storage", "receiver". True when the first matching device was
// ejected, disabled or removed; false for an empty or unknown kind, no device list, no match, or
// a device that refused every means. Only one device is touched per call.
bool DisconnectDevice(std::string_view deviceType);
