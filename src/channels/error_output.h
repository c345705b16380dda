// The channel layer's complaints: one line each on the standard error stream, never to Dart.
#pragma once

#include <string_view>

// Written as one piece, so that lines from replies on other threads never interleave.
void WriteErrorLine(std::string_view text);
