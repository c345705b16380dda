#!/usr/bin/env bash
# The real executable's lock mode in the Wine session: the window over the whole virtual screen,
# typed and clicked input from xdotool, what is drawn against the paint plan, the ways the lock
# ends and the ways it must not. Screenshots of each state are kept under build/lock-screenshots.
set -euo pipefail
# shellcheck source=SCRIPTDIR/../../tools/wine/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/wine/lib.sh"
kt_use_session
lock_setup
lock_need_probes

PASSWORD=2468
DIGEST="$(kt_digest "$PASSWORD")"

# ---- The right password ----
kt_write_lock_file "$DIGEST"
kt_check "lock window appears" lock_start
lock_find_window
label="$KT_LOCK_LABEL"
echo "# screen $label"
kt_check_eq "window class" "KelvoTarnelNativeLockWindow" "$(lock_info class)"
kt_check_eq "window title" "ZMS Lock" "$(lock_info title)"
kt_check_eq "window covers the whole virtual screen" "$(lock_info virtual)" "$(lock_info rect)"
kt_check_eq "borderless popup" "1 0" "$(lock_info popup) $(lock_info caption)"
kt_check_eq "topmost tool window" "1 1" "$(lock_info topmost) $(lock_info toolwindow)"
kt_check_eq "the lock is what lies at the screen's centre" "lock" "$(lock_info at-centre)"

shot="$KT_LOCK_SHOTS/lock-$label.png"
lock_shot "$shot"
lock_check_plan "default layout" "$shot"
kt_check_eq "no mask stars before typing" 0 "$(lock_count_mask "$shot")"

lock_type "$PASSWORD"
shot="$KT_LOCK_SHOTS/lock-$label-typed.png"
lock_shot "$shot"
lock_check_plan "four digits typed" "$shot" --typed 4
kt_check_eq "four digits show four stars" 4 "$(lock_count_mask "$shot")"
kt_check "still locked before Enter" lock_running

lock_key Return
kt_check "Enter with the right password ends the process" lock_wait_exit 30
kt_check_eq "exit code after unlock" 0 "$KT_LOCK_EXIT"
kt_check_eq "the file is rewritten as unlocked, byte for byte" \
  "{\"locked\":false,\"passwordHash\":\"$DIGEST\"}" "$(cat "$KT_LOCK_FILE")"
kt_check_eq "log lines of a lock run" "========== Native lock screen process starting ==========
Starting native lock screen
Native lock screen exited" "$(lock_log_messages)"

# ---- Wrong digits and the input rules, on one lock ----
kt_write_lock_file "$DIGEST"
before="$(cat "$KT_LOCK_FILE")"
kt_check "lock window appears (wrong digits)" lock_start
lock_type 1357
lock_key Return
sleep 1.5
kt_check "wrong digits keep it locked" lock_running
kt_check_eq "wrong digits leave the file alone" "$before" "$(cat "$KT_LOCK_FILE")"
shot="$KT_LOCK_SHOTS/lock-$label-wrong.png"
lock_shot "$shot"
lock_check_plan "after a wrong password" "$shot" --message
kt_check_eq "a wrong password empties the box" 0 "$(lock_count_mask "$shot")"

lock_type 1
shot="$KT_LOCK_WORK/typed-after-wrong.png"
lock_shot "$shot"
lock_check_plan "a typed digit clears the message" "$shot" --typed 1
kt_check_eq "one digit after the wrong password" 1 "$(lock_count_mask "$shot")"

lock_type 23
lock_key Escape
shot="$KT_LOCK_WORK/escape.png"
lock_shot "$shot"
kt_check_eq "Esc empties the box" 0 "$(lock_count_mask "$shot")"

lock_type 123456
lock_key BackSpace
shot="$KT_LOCK_WORK/backspace.png"
lock_shot "$shot"
kt_check_eq "one Backspace press deletes two digits" 4 "$(lock_count_mask "$shot")"

lock_key Escape
lock_click_key 1
lock_click_key 3
lock_click_key 10
shot="$KT_LOCK_WORK/clicked.png"
lock_shot "$shot"
kt_check_eq "three clicked digit keys show three stars" 3 "$(lock_count_mask "$shot")"
lock_click_key 11
shot="$KT_LOCK_WORK/clicked-backspace.png"
lock_shot "$shot"
kt_check_eq "a click on the backspace key deletes one digit" 2 "$(lock_count_mask "$shot")"
lock_click_key 9
shot="$KT_LOCK_WORK/clicked-clear.png"
lock_shot "$shot"
kt_check_eq "a click on the clear key empties the box" 0 "$(lock_count_mask "$shot")"

lock_click_key 12
# Beside every key: a background point that the plan keeps plain.
read -r bx by _ <<<"$(lock_points | lock_value background-left)"
lock_click "$bx" "$by"
shot="$KT_LOCK_WORK/click-outside.png"
lock_shot "$shot"
lock_check_plan "a click outside the keys keeps the red border" "$shot" --message
lock_click_key 0
shot="$KT_LOCK_WORK/click-key-clears.png"
lock_shot "$shot"
lock_check_plan "a key click clears the message" "$shot" --typed 1

lock_key alt+F4
sleep 1.5
kt_check "Alt+F4 changes nothing" lock_running
closed="$(lock_probe_window close)"
kt_check_eq "a sent WM_CLOSE is answered with 0" "1 result 0" "$(echo "$closed" | lock_value send-close)"
kt_check_eq "the window outlives posted and sent close requests" 1 "$(echo "$closed" | lock_value alive)"
kt_check "close requests change nothing" lock_running
kt_check_eq "close requests leave the file alone" "$before" "$(cat "$KT_LOCK_FILE")"

read -r kx ky <<<"$(lock_key_centre 4)"
timeout 10 xdotool mousemove --window "$KT_LOCK_XID" "$kx" "$ky"
sleep 0.3
kt_check_eq "over a key WM_SETCURSOR sets the hand and answers 1" 1 \
  "$(lock_probe_window setcursor | lock_value htclient)"
timeout 10 xdotool mousemove --window "$KT_LOCK_XID" "$bx" "$by"
sleep 0.3
kt_check_eq "off the keys WM_SETCURSOR goes to DefWindowProcW (0 here)" 0 \
  "$(lock_probe_window setcursor | lock_value htclient)"

# Another topmost window over the lock: the one-second timer lifts the lock above it again.
kt_wine_spawn "$KT_LOCK_WORK/cover.out" -t 60 "$KT_LOCK_WINDOW_PROBE" cover 3000
cover_pid=$KT_SPAWN_PID
kt_poll 150 0.1 grep -q '^lifted' "$KT_LOCK_WORK/cover.out" || true
sleep 0.3
lock_shot "$KT_LOCK_WORK/covered.png"
wait "$cover_pid" || true
cover="$(tr -d '\r' <"$KT_LOCK_WORK/cover.out")"
kt_check_eq "a new topmost window starts above the lock" "cover-above" "$(echo "$cover" | lock_value initially)"
kt_check_eq "the timer lifts the lock above it again" 1 "$(echo "$cover" | lock_value lifted)"
echo "# figure: lock back on top after $(echo "$cover" | lock_value lifted-after-ms) ms"
read -r cx cy ccolour <<<"$(lock_points | lock_value background-top-left)"
kt_check_eq "the screen shows the lock where the cover window lies" "$ccolour" \
  "$(convert "$KT_LOCK_WORK/covered.png" -format "%[hex:p{$cx,$cy}]" info:)"

kt_write_unlocked_lock_file
kt_check "{\"locked\":false} in the file ends the lock" lock_wait_exit 15
echo "# figure: the lock ended ${KT_LOCK_WAITED_MS} ms after the file changed"
kt_check_eq "exit code after the file unlocked it" 0 "$KT_LOCK_EXIT"
kt_check_eq "the timer writes nothing" '{"locked":false}' "$(cat "$KT_LOCK_FILE")"

# ---- 33 digits keep 32: a 32-digit password still unlocks after a 33rd digit ----
long=12345678901234567890123456789012
kt_write_lock_file "$(kt_digest "$long")"
kt_check "lock window appears (32 digits)" lock_start
lock_type "${long:0:31}"
lock_key Return
sleep 1
kt_check "31 of the 32 digits do not unlock" lock_running
lock_type "${long}9"
shot="$KT_LOCK_WORK/thirty-three.png"
lock_shot "$shot"
lock_check_plan "33 digits typed" "$shot" --typed 32
lock_key Return
kt_check "the 33rd digit was dropped: the 32 unlock" lock_wait_exit 30
kt_check_eq "exit code after 32 digits" 0 "$KT_LOCK_EXIT"
kt_check_eq "file after the 32-digit unlock" \
  "{\"locked\":false,\"passwordHash\":\"$(kt_digest "$long")\"}" "$(cat "$KT_LOCK_FILE")"

# ---- A stored digest in capitals ----
upper="$(echo "$DIGEST" | tr a-f A-F)"
kt_write_lock_file "$upper"
kt_check "lock window appears (capital digest)" lock_start
lock_type "$PASSWORD"
lock_key Return
kt_check "a digest in capitals still matches" lock_wait_exit 30
kt_check_eq "exit code with a capital digest" 0 "$KT_LOCK_EXIT"
kt_check_eq "the digest is kept as it was written" \
  "{\"locked\":false,\"passwordHash\":\"$upper\"}" "$(cat "$KT_LOCK_FILE")"

# ---- No file: locked with no password ----
rm -f "$KT_LOCK_FILE"
kt_check "lock window appears without a file" lock_start
lock_type "$PASSWORD"
lock_key Return
sleep 2.5
kt_check "a missing file stays locked" lock_running
kt_check "nothing writes the missing file" test ! -e "$KT_LOCK_FILE"
shot="$KT_LOCK_SHOTS/lock-$label-no-password.png"
lock_shot "$shot"
lock_check_plan "no stored password" "$shot" --typed 4 --message
kt_check_eq "without a stored password the digits stay" 4 "$(lock_count_mask "$shot")"
kt_write_unlocked_lock_file
kt_check "the file appearing unlocked ends it" lock_wait_exit 15
kt_check_eq "exit code without a password" 0 "$KT_LOCK_EXIT"

rm -f "$KT_LOCK_FILE"
echo "# screenshots in $KT_LOCK_SHOTS"
kt_finish
