#!/usr/bin/env bash
# The main job: builds the real executable and shows what it does today under Wine. It answers
# password questions from sample files in the prefix and runs the full start-up as far as this
# build goes, printing the exit codes and the application log.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
bash tools/install_dependencies.sh
cmake --preset windows >/dev/null
cmake --build --preset windows -j 2 >/dev/null
echo "Built build/windows/bin/KelvoTarnel.exe"

export KT_WINE_ROOT="$PWD/build/wine-demo"
source tools/wine/common.sh
trap 'bash tools/wine/session.sh stop >/dev/null 2>&1 || true' EXIT
bash tools/wine/session.sh start
kt_use_display

data="$(kt_prefix_path 'C:\ProgramData\KelvoTarnel')"
mkdir -p "$data"
rm -f "$data/logs/app.log" "$data/pseudo_lock.json" "$data/uninstall_auth.json"
digest() { printf '%s' "$1" | sha256sum | cut -d' ' -f1; }
printf '{"passwordHash":"%s"}' "$(digest 'uninstall-2026')" >"$data/uninstall_auth.json"
printf '{"locked":true,"passwordHash":"%s"}' "$(digest '2468')" >"$data/pseudo_lock.json"
echo
echo "Sample files in C:\\ProgramData\\KelvoTarnel:"
echo "  uninstall_auth.json: $(cat "$data/uninstall_auth.json")"
echo "  pseudo_lock.json:    $(cat "$data/pseudo_lock.json")"

run() {
  set +e
  bash tools/wine/run.sh -t 60 "$KT_WINDOWS_BIN/KelvoTarnel.exe" "$@" </dev/null >/dev/null 2>&1
  local code=$?
  set -e
  printf '  %-55s -> exit code %d\n' "KelvoTarnel.exe $*" "$code"
}

echo
echo "Verification mode (0 match, 1 mismatch, 2 no password, 3 no digest):"
run --verify-uninstall-password uninstall-2026
run --verify-uninstall-password wrong-password
run --verify-uninstall-password ''
rm -f "$data/uninstall_auth.json"
echo "  (uninstall_auth.json removed: the lock file's digest decides)"
run --verify-uninstall-password 2468
echo "  log lines written by verification: $(cat "$data/logs/app.log" 2>/dev/null | wc -l)"

echo
echo "Full application (ends at window creation until the engine window is built):"
run --tray-only
echo
echo "C:\\ProgramData\\KelvoTarnel\\logs\\app.log:"
sed 's/\r$//; s/^/  /' "$data/logs/app.log"
