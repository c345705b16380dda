#!/usr/bin/env bash
# The lock's keyboard hook in the Wine session: a probe sets a low-level hook of its own before
# the lock starts, so the lock's hook is asked first; the shortcuts the probe sends reach it
# before the lock, are swallowed while the lock is up, and reach it again once the lock has ended,
# by the password and by the file. Digits typed with xdotool still reach the keypad.
set -euo pipefail
# shellcheck source=SCRIPTDIR/../../tools/wine/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/wine/lib.sh"
kt_use_session
lock_setup
lock_need_probes

PASSWORD=8642
DIGEST="$(kt_digest "$PASSWORD")"
SHORTCUTS=(win-left win-right alt-tab alt-esc ctrl-esc alt-f4)
TRIGGER_WINDOWS='C:\ProgramData\KelvoTarnel\shortcut-round'
TRIGGER="$(kt_prefix_path "$TRIGGER_WINDOWS")"
KEYS="$KT_LOCK_WORK/keys.out"
rm -f "$TRIGGER"

kt_wine_spawn "$KEYS" -t 400 "$KT_LOCK_WINDOW_PROBE" shortcuts "$TRIGGER_WINDOWS" 5
keys_pid=$KT_SPAWN_PID
keys_stop() { kill "$keys_pid" 2>/dev/null || true; }
kt_at_exit keys_stop
kt_poll 300 0.1 grep -qs '^hook' "$KEYS" || true
kt_check_eq "the probe's own low-level hook is set" 1 "$(tr -d '\r' <"$KEYS" | lock_value hook)"

round=0
# One round of the probe's shortcuts; the answers land in KT_ROUND ("NAME 0|1" lines).
send_shortcuts() {
  round=$((round + 1))
  touch "$TRIGGER"
  kt_poll 300 0.1 grep -qs "^r$round done" "$KEYS" || true
  KT_ROUND="$(tr -d '\r' <"$KEYS" | sed -n "s/^r$round-//p")"
}
check_round() {  # check_round WHEN EXPECTED-FOR-SHORTCUTS
  local name
  for name in "${SHORTCUTS[@]}"; do
    kt_check_eq "$1: $name reaches the probe's hook" "$2" "$(lock_value "$name" <<<"$KT_ROUND")"
  done
  kt_check_eq "$1: F9 reaches the probe's hook" 1 "$(lock_value f9 <<<"$KT_ROUND")"
}

send_shortcuts
check_round "before the lock" 1

kt_write_lock_file "$DIGEST"
kt_check "lock window appears" lock_start
lock_find_window
send_shortcuts
check_round "while the lock is up" 0
kt_check "the shortcuts leave the lock running" lock_running

lock_type "$PASSWORD"
shot="$KT_LOCK_WORK/typed.png"
lock_shot "$shot"
kt_check_eq "digits typed with xdotool reach the keypad" 4 "$(lock_count_mask "$shot")"
lock_key Return
kt_check "the right password ends the lock" lock_wait_exit 30
send_shortcuts
check_round "after the password ended the lock" 1

kt_write_lock_file "$DIGEST"
kt_check "lock window appears again" lock_start
send_shortcuts
check_round "while the second lock is up" 0
kt_write_unlocked_lock_file
kt_check "{\"locked\":false} in the file ends the lock" lock_wait_exit 15
send_shortcuts
check_round "after the file ended the lock" 1

rm -f "$KT_LOCK_FILE" "$TRIGGER"
kt_finish
