#include "channels/error_output.h"

#include <iostream>
#include <string>

void WriteErrorLine(std::string_view text) {
  std::string line;
  line.reserve(text.size() + 1);
  line.append(text);
  line.push_back('\n');
  std::cerr << line;
}
