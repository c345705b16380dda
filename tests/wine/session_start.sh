#!/usr/bin/env bash
# Starts the Wine session for the tests, after checking that the Windows build is there.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/wine/common.sh"
for file in "$KT_WINDOWS_BIN/KelvoTarnel.exe" "$KT_WINDOWS_BIN/flutter_windows.dll" \
  "$KT_WINDOWS_BIN/standin_host.exe" "$KT_WINDOWS_TESTS/platform_adapter_test.exe" \
  "$KT_WINDOWS_TESTS/launch_hidden.exe"; do
  [[ -f "$file" ]] || kt_die "missing $file: build the windows preset first (cmake --build --preset windows)"
done
exec bash "$KT_REPO_ROOT/tools/wine/session.sh" start
