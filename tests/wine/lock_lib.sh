# shellcheck shell=bash
# Sourced by the lock screen's Wine scripts after lib.sh: start a lock process, aim xdotool input
# at its window, take screenshots and compare them with the paint plan.
KT_LOCK_PROBE="${KT_LOCK_PROBE:-$KT_REPO_ROOT/build/host/tests/lock_paint_probe}"
KT_WINDOWS_TESTS="${KT_WINDOWS_TESTS:-$KT_REPO_ROOT/build/windows/tests}"
KT_LOCK_WINDOW_PROBE="$KT_WINDOWS_TESTS/lock_window_probe.exe"
KT_LOCK_SHOTS="${KT_LOCK_SHOTS:-$KT_REPO_ROOT/build/lock-screenshots}"
KT_LOCK_FILE="$KT_DATA_DIR/pseudo_lock.json"
KT_LOCK_PID=""
KT_LOCK_XID=""

for tool in xdotool import convert; do
  command -v "$tool" >/dev/null || kt_die "$tool is not installed (run tools/install_dependencies.sh)"
done
[[ -x "$KT_LOCK_PROBE" ]] || kt_die "missing $KT_LOCK_PROBE: build the host preset's lock_paint_probe"
[[ -f "$KT_LOCK_WINDOW_PROBE" ]] || kt_die "missing $KT_LOCK_WINDOW_PROBE: build the windows preset"
[[ -f "$KT_APP" ]] || kt_die "missing $KT_APP: build the windows preset"
mkdir -p "$KT_DATA_DIR" "$KT_LOCK_SHOTS"
KT_LOCK_WORK="$(mktemp -d)"

lock_digest() { printf '%s' "$1" | sha256sum | cut -d' ' -f1; }
# The file as the outside writer leaves it: locked, with the digest of the password.
lock_write_file() { printf '{"locked":true,"passwordHash":"%s"}' "$1" >"$KT_LOCK_FILE"; }

# Starts KelvoTarnel.exe --native-lock-screen in the background and waits (at most 30 s) for
# its X window; false when none appears.
lock_start() {
  rm -f "$KT_APP_LOG"
  "$KT_REPO_ROOT/tools/wine/run.sh" -t 400 "$KT_APP" --native-lock-screen </dev/null \
    >"$KT_LOCK_WORK/app.out" 2>&1 &
  KT_LOCK_PID=$!
  KT_LOCK_XID=""
  local i
  for i in $(seq 1 150); do
    KT_LOCK_XID="$(xdotool search --name '^ZMS Lock$' 2>/dev/null | head -1 || true)"
    [[ -n "$KT_LOCK_XID" ]] && break
    kill -0 "$KT_LOCK_PID" 2>/dev/null || break
    sleep 0.2
  done
  [[ -n "$KT_LOCK_XID" ]] || return 1
  # Screenshots need the first paint, which comes 300 ms or more after the window is shown.
  sleep 0.6
}

lock_running() { kill -0 "$KT_LOCK_PID" 2>/dev/null; }

# Waits at most $1 seconds for the lock process to end; its exit code lands in KT_LOCK_EXIT and
# the time it took in KT_LOCK_WAITED_MS. False when it is still running.
lock_wait_exit() {
  local deadline=$((SECONDS + $1)) start
  start=$(date +%s%N)
  while lock_running && ((SECONDS < deadline)); do sleep 0.05; done
  KT_LOCK_WAITED_MS=$((($(date +%s%N) - start) / 1000000))
  if lock_running; then
    KT_LOCK_EXIT=running
    return 1
  fi
  set +e
  wait "$KT_LOCK_PID"
  KT_LOCK_EXIT=$?
  set -e
}

# Ends a lock that a failed check left running: the file first, then the process itself.
lock_stop() {
  [[ -n "$KT_LOCK_PID" ]] || return 0
  if lock_running; then
    printf '{"locked":false}' >"$KT_LOCK_FILE"
    lock_wait_exit 10 || {
      kill "$KT_LOCK_PID" 2>/dev/null || true
      lock_wait_exit 10 || true
    }
  fi
  KT_LOCK_PID=""
}

# Keyboard input goes to the focused X window: focus the lock's before each burst.
lock_focus() {
  timeout 10 xdotool windowfocus "$KT_LOCK_XID" 2>/dev/null || true
  sleep 0.2
}
lock_type() {
  lock_focus
  timeout 60 xdotool type --delay 60 "$1"
  sleep 0.4
}
lock_key() {
  lock_focus
  timeout 10 xdotool key "$@"
  sleep 0.4
}
# A left click at client coordinates of the lock window.
lock_click() {
  timeout 10 xdotool mousemove --window "$KT_LOCK_XID" "$1" "$2" click 1
  sleep 0.4
}

# The window probe's "key value" lines for one command.
lock_probe_window() {
  "$KT_REPO_ROOT/tools/wine/run.sh" -t 60 "$KT_LOCK_WINDOW_PROBE" "$@" </dev/null 2>/dev/null | tr -d '\r'
}
lock_value() { awk -v k="$1" '$1 == k { $1 = ""; sub(/^ /, ""); print; exit }'; }

# The paint plan's layout for the screen: "input L T R B", "key-N X Y".
lock_layout() { "$KT_LOCK_PROBE" layout "$KT_LOCK_WIDTH" "$KT_LOCK_HEIGHT" "$KT_LOCK_DPI"; }
lock_key_centre() { lock_layout | lock_value "key-$1"; }
lock_click_key() {
  local centre
  centre="$(lock_key_centre "$1")"
  # shellcheck disable=SC2086
  lock_click $centre
}

lock_shot() {  # lock_shot PATH
  timeout 30 import -window root "$1"
}

# Compares every probe point the plan gives for this state with the screenshot.
lock_check_plan() {  # lock_check_plan LABEL SHOT [--typed N] [--message]
  local label="$1" shot="$2"
  shift 2
  local points format="" names=() expected=() actual i
  points="$("$KT_LOCK_PROBE" points "$KT_LOCK_WIDTH" "$KT_LOCK_HEIGHT" "$KT_LOCK_DPI" "$@")"
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

lock_log_messages() {
  sed -E 's/^\[[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+\] //; s/\r$//' "$KT_APP_LOG" 2>/dev/null
}

lock_cleanup() {
  lock_stop
  rm -rf "$KT_LOCK_WORK"
}
trap lock_cleanup EXIT
