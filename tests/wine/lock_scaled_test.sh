#!/usr/bin/env bash
# The lock screen in a Wine session of its own (run it through in_own_session.sh), on a screen of
# KT_XVFB_SCREEN (e.g. 3840x2160x24) at KT_WINE_DPI (e.g. 144). Checks the window, the
# drawing against the paint plan at that size and DPI, typed and clicked input and the unlock,
# then prints the painting figures of lock_paint_bench for that screen.
set -euo pipefail
# The session's own screen and DPI, not the library's defaults: the sizes are what this tests.
: "${KT_XVFB_SCREEN:?set KT_XVFB_SCREEN, e.g. 3840x2160x24}"
: "${KT_WINE_DPI:?set KT_WINE_DPI, e.g. 144}"
# shellcheck source=SCRIPTDIR/../../tools/wine/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/wine/lib.sh"
kt_use_session
lock_setup
lock_need_probes

PASSWORD=97531
DIGEST="$(kt_digest "$PASSWORD")"
kt_write_lock_file "$DIGEST"

kt_check "lock window appears" lock_start
lock_find_window
label="$KT_LOCK_LABEL"
echo "# screen $label, scale $(lock_layout | lock_value scale)"
kt_check_eq "virtual screen is the Xvfb screen" "${KT_XVFB_SCREEN%x*}" "${KT_LOCK_WIDTH}x${KT_LOCK_HEIGHT}"
kt_check_eq "window covers the whole virtual screen" "$(lock_info virtual)" "$(lock_info rect)"
kt_check_eq "topmost" 1 "$(lock_info topmost)"

shot="$KT_LOCK_SHOTS/lock-$label.png"
lock_shot "$shot"
lock_check_plan "default layout at $label" "$shot"

lock_type 975
lock_click_key 2   # "3"
lock_click_key 0   # "1"
shot="$KT_LOCK_SHOTS/lock-$label-typed.png"
lock_shot "$shot"
lock_check_plan "five digits at $label" "$shot" --typed 5
kt_check_eq "five digits show five stars at $label" 5 "$(lock_count_mask "$shot")"

lock_click_key 12
kt_check "the submit key with the right password ends the process" lock_wait_exit 30
kt_check_eq "exit code after unlock at $label" 0 "$KT_LOCK_EXIT"
kt_check_eq "file rewritten as unlocked at $label" \
  "{\"locked\":false,\"passwordHash\":\"$DIGEST\"}" "$(cat "$KT_LOCK_FILE")"

# Figures only: nothing below is checked but that the program ran.
bench="$KT_LOCK_WORK/bench.out"
kt_check "lock_paint_bench runs" kt_wine_run -t 300 \
  "$KT_WINDOWS_TESTS/lock_paint_bench.exe" "$KT_LOCK_WIDTH" "$KT_LOCK_HEIGHT" "$KT_LOCK_DPI" 10 \
  </dev/null >"$bench" 2>&1
sed 's/\r$//; s/^/# figure: /' "$bench"

rm -f "$KT_LOCK_FILE"
kt_finish
