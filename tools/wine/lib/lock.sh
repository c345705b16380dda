# shellcheck shell=bash disable=SC2034
# The native lock screen from outside: start a lock process, aim xdotool input at its window,
# take screenshots and compare them with the paint plan. lock_setup comes first; the tests add
# lock_need_probes for what they compare against. What the helpers find out lands in KT_LOCK_*
# variables for the sourcing script to read.
KT_LOCK_WINDOW_PROBE="$KT_WINDOWS_TESTS/lock_window_probe.exe"
KT_LOCK_PID=""
KT_LOCK_XID=""
KT_LOCK_WORK=""

lock_setup() {
  kt_need_tools xdotool import
  kt_need_file "$KT_APP" "the windows preset"
  mkdir -p "$KT_DATA_DIR" "$KT_LOCK_SHOTS"
  KT_LOCK_WORK="$(mktemp -d)"
  KT_LOCK_DPI="$KT_WINE_DPI"
  kt_at_exit lock_cleanup
}

lock_need_probes() {
  kt_need_tools convert
  [[ -x "$KT_LOCK_PROBE" ]] || kt_die "missing $KT_LOCK_PROBE: build the host preset's paint_probe"
  kt_need_file "$KT_LOCK_WINDOW_PROBE" "the windows preset"
}

lock_running() { kt_alive "$KT_LOCK_PID"; }

lock_window_or_gone() {
  KT_LOCK_XID="$(xdotool search --name '^ZMS Lock$' 2>/dev/null | head -1 || true)"
  [[ -n "$KT_LOCK_XID" ]] || ! lock_running
}

# Starts KelvoTarnel.exe --native-lock-screen in the background and waits (at most 30 s) for its
# X window; false when none appears. KT_LOCK_UP_MS is how long the window took, and the log's
# lines from here on are the run's.
lock_start() {
  local started
  started=$(date +%s%N)
  KT_LOCK_LOG_MARK="$(kt_log_size)"
  kt_wine_spawn "$KT_LOCK_WORK/app.out" -t 400 "$KT_APP" --native-lock-screen
  KT_LOCK_PID=$KT_SPAWN_PID
  KT_LOCK_XID=""
  if ! kt_poll 150 0.2 lock_window_or_gone || [[ -z "$KT_LOCK_XID" ]]; then
    return 1
  fi
  KT_LOCK_UP_MS=$((($(date +%s%N) - started) / 1000000))
  # Screenshots need the first paint, which comes 300 ms or more after the window is shown.
  sleep 0.6
}

lock_ended() { ! lock_running; }

# Waits at most $1 seconds for the lock process to end; its exit code lands in KT_LOCK_EXIT and
# the time it took in KT_LOCK_WAITED_MS. False when it is still running.
lock_wait_exit() {
  local start
  start=$(date +%s%N)
  kt_poll $(($1 * 20)) 0.05 lock_ended || true
  KT_LOCK_WAITED_MS=$((($(date +%s%N) - start) / 1000000))
  if lock_running; then
    KT_LOCK_EXIT=running
    return 1
  fi
  KT_LOCK_EXIT=0
  wait "$KT_LOCK_PID" || KT_LOCK_EXIT=$?
}

# Ends a lock that a failed check or demo left running: the file first, then the process itself.
lock_stop() {
  [[ -n "$KT_LOCK_PID" ]] || return 0
  if lock_running; then
    kt_write_unlocked_lock_file
    lock_wait_exit 10 || {
      kill "$KT_LOCK_PID" 2>/dev/null || true
      lock_wait_exit 10 || true
    }
  fi
  KT_LOCK_PID=""
}

lock_cleanup() {
  lock_stop
  [[ -z "$KT_LOCK_WORK" ]] || rm -rf "$KT_LOCK_WORK"
}

# Keyboard input goes to the focused X window: focus the lock's before each burst. The pauses
# after input give the lock time to take it in; nothing outside shows when it has.
lock_focus() {
  timeout 10 xdotool windowfocus "$KT_LOCK_XID" 2>/dev/null || true
  sleep 0.2
}
lock_type() {
  lock_focus
  timeout 60 xdotool type --delay 60 "$1"
  sleep 0.4
}
# The keys pressed without the pause after them; KT_LOCK_PRESSED_NS is when.
lock_press() {
  lock_focus
  KT_LOCK_PRESSED_NS=$(date +%s%N)
  timeout 10 xdotool key "$@"
}
lock_key() {
  lock_press "$@"
  sleep 0.4
}
# A left click at client coordinates of the lock window.
lock_click() {
  timeout 10 xdotool mousemove --window "$KT_LOCK_XID" "$1" "$2" click 1
  sleep 0.4
}

lock_shot() {  # lock_shot PATH
  timeout 30 import -window root "$1"
}

# The window probe's "key value" lines for one command.
lock_probe_window() {
  kt_wine_run -t 60 "$KT_LOCK_WINDOW_PROBE" "$@" </dev/null 2>/dev/null | tr -d '\r'
}
lock_value() { awk -v k="$1" '$1 == k { $1 = ""; sub(/^ /, ""); print; exit }'; }

# What the window probe finds of the lock window; the virtual screen it covers is the screen
# the paint plan is made for.
lock_find_window() {
  KT_LOCK_INFO="$(lock_probe_window find)"
  read -r KT_LOCK_WIDTH KT_LOCK_HEIGHT <<<"$(lock_info virtual | awk '{ print $3 - $1, $4 - $2 }')"
  KT_LOCK_LABEL="${KT_LOCK_WIDTH}x${KT_LOCK_HEIGHT}-${KT_LOCK_DPI}dpi"
}
lock_info() { lock_value "$1" <<<"$KT_LOCK_INFO"; }

# The paint plan for the screen: its layout ("input L T R B", "key-N X Y") and its probe
# points ("NAME X Y COLOUR") for a state (--typed N, --message).
lock_layout() { "$KT_LOCK_PROBE" layout "$KT_LOCK_WIDTH" "$KT_LOCK_HEIGHT" "$KT_LOCK_DPI"; }
lock_points() { "$KT_LOCK_PROBE" points "$KT_LOCK_WIDTH" "$KT_LOCK_HEIGHT" "$KT_LOCK_DPI" "$@"; }
lock_key_centre() { lock_layout | lock_value "key-$1"; }
lock_click_key() {
  local centre
  centre="$(lock_key_centre "$1")"
  # shellcheck disable=SC2086
  lock_click $centre
}

# Compares every probe point the plan gives for this state with the screenshot.
lock_check_plan() {  # lock_check_plan LABEL SHOT [--typed N] [--message]
  local label="$1" shot="$2"
  shift 2
  local points format="" names=() expected=() actual i
  points="$(lock_points "$@")"
  while read -r name x y colour; do
    names+=("$name at $x,$y")
    expected+=("$colour")
    format+="%[hex:p{$x,$y}]\n"
  done <<<"$points"
  mapfile -t actual < <(convert "$shot" -format "$format" info:)
  kt_check "$label: the plan gives probe points" test "${#names[@]}" -gt 10
  for i in "${!names[@]}"; do
    kt_check_eq "$label: ${names[$i]}" "${expected[$i]}" "${actual[$i]:-none}"
  done
}

# How many mask stars the input box shows: runs of columns that hold the ink of the text, in
# the middle half of the box's height, where its border runs straight beside the text.
lock_count_mask() {  # lock_count_mask SHOT
  local left top right bottom
  read -r left top right bottom <<<"$(lock_layout | lock_value input)"
  local band=$(((bottom - top) / 4))
  local x=$((left + 3)) y=$((top + band)) w=$((right - left - 6)) h=$((bottom - top - 2 * band))
  convert "$1" -crop "${w}x${h}+${x}+${y}" +repage -depth 8 txt:- | awk '
    function hexbyte(s) { return (index("0123456789ABCDEF", substr(s, 1, 1)) - 1) * 16 + index("0123456789ABCDEF", substr(s, 2, 1)) - 1 }
    NR > 1 {
      split($1, at, /[,:]/)
      hex = $3; sub(/^#/, "", hex)
      red = hexbyte(toupper(substr(hex, 1, 2)))
      if (red < 192) ink[at[1] + 0] = 1
      if (at[1] + 0 > maxx) maxx = at[1] + 0
    }
    END {
      runs = 0; previous = 0
      for (c = 0; c <= maxx; c++) { if ((c in ink) && !previous) runs++; previous = (c in ink) }
      print runs
    }'
}

# The log lines of the last lock run, without time stamps.
lock_log_messages() { kt_log_messages_since "$KT_LOCK_LOG_MARK"; }
