#!/usr/bin/env bash
# The main job: builds the real executable and shows it working under Wine. It answers password
# questions from sample files, shows and unlocks the native lock screen, then runs the full
# application with the engine stand-in and plays Dart against it, window blocker included,
# keeping screenshots.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
bash tools/install_dependencies.sh
cmake --preset windows >/dev/null
cmake --build --preset windows -j 2 >/dev/null
cmake --preset host >/dev/null
cmake --build --preset host -j 2 --target demo_driver >/dev/null
echo "Built build/windows/bin/KelvoTarnel.exe and the demo driver"

export KT_WINE_ROOT="$PWD/build/wine-demo"
source tools/wine/common.sh
trap 'bash tools/wine/session.sh stop >/dev/null 2>&1 || true' EXIT
bash tools/wine/session.sh start
kt_use_display
shots="$PWD/build/demo-screenshots"
mkdir -p "$shots"

data="$(kt_prefix_path 'C:\ProgramData\KelvoTarnel')"
mkdir -p "$data"
rm -f "$data/logs/app.log" "$data/pseudo_lock.json" "$data/uninstall_auth.json"
digest() { printf '%s' "$1" | sha256sum | cut -d' ' -f1; }
printf '{"passwordHash":"%s"}' "$(digest 'uninstall-2026')" >"$data/uninstall_auth.json"
printf '{"locked":true,"passwordHash":"%s"}' "$(digest '2468')" >"$data/pseudo_lock.json"
echo
echo "== Verification mode (0 match, 1 mismatch, 2 no password, 3 no digest)"
echo "  uninstall_auth.json: $(cat "$data/uninstall_auth.json")"
run() {
  set +e
  bash tools/wine/run.sh -t 60 "$KT_WINDOWS_BIN/KelvoTarnel.exe" "$@" </dev/null >/dev/null 2>&1
  local code=$?
  set -e
  printf '  %-55s -> exit code %d\n' "KelvoTarnel.exe $*" "$code"
}
run --verify-uninstall-password uninstall-2026
run --verify-uninstall-password wrong-password
run --verify-uninstall-password ''
rm -f "$data/uninstall_auth.json"
echo "  (uninstall_auth.json removed: the lock file's digest decides)"
run --verify-uninstall-password 2468

echo
echo "== Native lock screen"
KT_LOCK_SHOTS="$shots" KT_LOCK_DEMO_PASSWORD=2468 bash tools/lock_demo.sh

echo
echo "== Full application with the engine stand-in"
port=$((20000 + RANDOM % 20000))
KT_ENGINE_PORT=$port bash tools/wine/run.sh -t 120 "$KT_WINDOWS_BIN/KelvoTarnel.exe" </dev/null \
  >"$KT_WINE_ROOT/app-output.log" 2>&1 &
app=$!
build/host/tests/demo_driver "$port" "$shots/blocker.png"
sleep 1
import -window root "$shots/application.png"
echo "  screenshot: $shots/application.png"
timeout 30 wine taskkill /F /IM KelvoTarnel.exe </dev/null >/dev/null 2>&1 || true
wait "$app" 2>/dev/null || true

echo
echo "== C:\\ProgramData\\KelvoTarnel\\logs\\app.log"
sed 's/\r$//; s/^/  /' "$data/logs/app.log"
