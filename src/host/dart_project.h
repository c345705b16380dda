// The engine project: where the Dart program's files are, and what it is started with.
#pragma once

#include <string>
#include <vector>

struct DartProject {
  explicit DartProject(const std::u16string& directory)
      : assetsPath(directory + u"\\flutter_assets"),
        icuDataPath(directory + u"\\icudtl.dat"),
        aotLibraryPath(directory + u"\\app.so") {}

  std::u16string assetsPath;
  std::u16string icuDataPath;
  std::u16string aotLibraryPath;
  std::string dartEntrypoint;
  std::vector<std::string> dartEntrypointArguments;
};
