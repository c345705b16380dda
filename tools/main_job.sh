#!/usr/bin/env bash
# The main job: builds the real executable and shows it working under Wine. It answers password
# questions from sample files, shows and unlocks the native lock screen, then runs the full
# application with the engine stand-in and plays Dart against it (device monitor, inventory,
# overlay notices, window blocker), keeping screenshots.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
bash tools/install_dependencies.sh
cmake --preset windows >/dev/null
cmake --build --preset windows -j 2 >/dev/null
cmake --preset host >/dev/null
cmake --build --preset host -j 2 --target demo_driver >/dev/null
echo "Built build/windows/bin/KelvoTarnel.exe and the demo driver"

export KT_WINE_ROOT="$PWD/build/wine-demo"
# shellcheck source=SCRIPTDIR/wine/lib.sh
source tools/wine/lib.sh
kt_own_session
kt_use_session
mkdir -p "$KT_DEMO_SHOTS"

kt_reset_data
kt_write_uninstall_file "$(kt_digest 'uninstall-2026')"
kt_write_lock_file "$(kt_digest '2468')"
echo
echo "== Verification mode (0 match, 1 mismatch, 2 no password, 3 no digest)"
echo "  uninstall_auth.json: $(cat "$KT_UNINSTALL_FILE")"
run() {
  kt_run_app "$@"
  printf '  %-55s -> exit code %d\n' "KelvoTarnel.exe $*" "$KT_EXIT"
}
run --verify-uninstall-password uninstall-2026
run --verify-uninstall-password wrong-password
run --verify-uninstall-password ''
rm -f "$KT_UNINSTALL_FILE"
echo "  (uninstall_auth.json removed: the lock file's digest decides)"
run --verify-uninstall-password 2468

echo
echo "== Native lock screen"
KT_LOCK_SHOTS="$KT_DEMO_SHOTS" KT_LOCK_DEMO_PASSWORD=2468 bash tools/lock_demo.sh

echo
echo "== Full application with the engine stand-in"
port=$((20000 + RANDOM % 20000))
KT_ENGINE_PORT=$port kt_wine_spawn "$KT_WINE_ROOT/app-output.log" -t 120 "$KT_APP"
app=$KT_SPAWN_PID
build/host/tests/e2e/demo_driver "$port" "$KT_DEMO_SHOTS/blocker.png"
sleep 1
import -window root "$KT_DEMO_SHOTS/application.png"
echo "  screenshot: $KT_DEMO_SHOTS/application.png"
kt_wine_run -t 30 taskkill /F /IM KelvoTarnel.exe </dev/null >/dev/null 2>&1 || true
wait "$app" 2>/dev/null || true

echo
printf '== %s\\logs\\app.log\n' "$KT_DATA_DIR_WINDOWS"
kt_log_lines_since 0 | sed 's/^/  /'
