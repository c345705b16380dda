#!/usr/bin/env bash
# Starts the Wine session for the tests, after checking that the Windows build is there.
set -euo pipefail
# shellcheck source=SCRIPTDIR/../../tools/wine/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/wine/lib.sh"
for file in "$KT_APP" "$KT_WINDOWS_BIN/flutter_windows.dll" \
  "$KT_WINDOWS_BIN/standin_host.exe" "$KT_WINDOWS_TESTS/platform_adapter_test.exe" \
  "$KT_WINDOWS_TESTS/launch_hidden.exe"; do
  kt_need_file "$file" "the windows preset first (cmake --build --preset windows)"
done
exec bash "$KT_WINE_TOOLS/session.sh" start
