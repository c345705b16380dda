// The application log: one machine-wide text file, one open-append-close per line, no state.
// Nothing here ever fails its caller.
#pragma once

#include <string>
#include <string_view>

#include "app/data_paths.h"
#include "base/log_format.h"

void EnsureLogDirectory();
void WriteAppLog(std::u16string_view message);
void LogFlutterWindow(std::u16string_view message);

// The bytes of one line as the log's narrow text stream writes them.
std::string EncodeLogLine(std::u16string_view line);
