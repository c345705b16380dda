#!/usr/bin/env bash
# Shows the native lock screen (KelvoTarnel.exe --native-lock-screen) in a running Wine session
# and unlocks it the way a person would: a wrong try first, then the password typed with
# xdotool and Enter. Keeps the screenshots under KT_LOCK_SHOTS and prints what happened. Needs
# KT_WINE_ROOT of a session started with tools/wine/session.sh.
set -euo pipefail
# shellcheck source=SCRIPTDIR/wine/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/wine/lib.sh"
kt_use_session
lock_setup
password="${KT_LOCK_DEMO_PASSWORD:-2468}"

kt_write_lock_file "$(kt_digest "$password")"
echo "Native lock screen demo (password $password)"
echo "  pseudo_lock.json before: $(cat "$KT_LOCK_FILE")"

lock_start || kt_die "the lock window did not appear"
read -r width height < <(xdotool getwindowgeometry "$KT_LOCK_XID" | awk '/Geometry/ { split($2, s, "x"); print s[1], s[2] }')
echo "  lock window \"ZMS Lock\" is up after $KT_LOCK_UP_MS ms, ${width}x${height}"
lock_shot "$KT_LOCK_SHOTS/demo.png"
echo "  screenshot of the locked screen: $KT_LOCK_SHOTS/demo.png"

lock_type 1111
lock_key Return
# A wrong password must leave it running: a second for it to show it does.
if lock_wait_exit 1; then state="ENDED"; else state="still locked"; fi
lock_shot "$KT_LOCK_SHOTS/demo-wrong.png"
echo "  typed 1111 and Enter: $state ($KT_LOCK_SHOTS/demo-wrong.png)"

lock_type "$password"
lock_shot "$KT_LOCK_SHOTS/demo-typed.png"
echo "  typed the ${#password} digits of the password ($KT_LOCK_SHOTS/demo-typed.png)"
lock_press Return
if ! lock_wait_exit 10; then
  echo "  Enter: the lock is still running after 10 s"
  exit 1
fi
echo "  Enter: the process ended with exit code $KT_LOCK_EXIT, $((($(date +%s%N) - KT_LOCK_PRESSED_NS) / 1000000)) ms after the key"
echo "  pseudo_lock.json after:  $(cat "$KT_LOCK_FILE")"
echo "  application log lines of this run:"
kt_log_lines_since "$KT_LOCK_LOG_MARK" | sed 's/^/    /'
[[ "$KT_LOCK_EXIT" -eq 0 ]]
