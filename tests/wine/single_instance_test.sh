#!/usr/bin/env bash
# Single instance and activation across real processes: single_instance_test.exe plays the
# other process in each situation (nobody, a lock process, the running instance, an instance
# without a window) and runs the second launch's tests against it; the real KelvoTarnel.exe
# then hands over to the running instance. Needs a running session (tools/wine/session.sh start).
set -uo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

tests_dir="${KT_WINDOWS_TESTS:-$KT_REPO_ROOT/build/windows/tests}"
program="$tests_dir/single_instance_test.exe"
[[ -f "$program" ]] || kt_die "$program is missing: build single_instance_test with the windows preset"
[[ -f "$KT_APP" ]] || kt_die "$KT_APP is missing: build KelvoTarnel with the windows preset"
[[ -d "$WINEPREFIX/drive_c" ]] || kt_die "no Wine prefix at $WINEPREFIX (tools/wine/session.sh start)"
command -v xdotool >/dev/null || kt_die "xdotool is not installed"

exchange="$(kt_prefix_path 'C:\kt_instance_test')"
work="$(mktemp -d)"
role_pid=""
role_name=""

# Log lines written since `offset` bytes, without time stamps and line ends.
log_since() {
  tail -c +"$(($1 + 1))" "$KT_APP_LOG" 2>/dev/null | sed -E 's/^\[[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+\] //; s/\r$//'
}
log_size() { if [[ -f "$KT_APP_LOG" ]]; then stat -c %s "$KT_APP_LOG"; else echo 0; fi; }

# Starts the other process in `role` and waits (bounded) until it says it is up.
start_role() {
  role_name="$1"
  rm -rf "$exchange"
  mkdir -p "$exchange"
  # Output to a file, never a pipe: a Wine process holding our pipe would stall whoever reads it.
  bash "$KT_REPO_ROOT/tools/wine/run.sh" -t 200 "$program" "$role_name" </dev/null >"$work/$role_name.out" 2>&1 &
  role_pid=$!
  local tries
  for tries in $(seq 1 600); do
    [[ -f "$exchange/ready" ]] && return 0
    kill -0 "$role_pid" 2>/dev/null || break
    sleep 0.1
  done
  echo "the $role_name process did not come up:" >&2
  sed "s/^/  [$role_name] /" "$work/$role_name.out" >&2
  return 1
}

# Tells the other process to end and waits (bounded) for it; its exit code lands in ROLE_EXIT.
stop_role() {
  ROLE_EXIT=none
  [[ -n "$role_pid" ]] || return 0
  touch "$exchange/stop"
  local tries
  for tries in $(seq 1 300); do
    kill -0 "$role_pid" 2>/dev/null || break
    sleep 0.1
  done
  if kill -0 "$role_pid" 2>/dev/null; then
    kill "$role_pid" 2>/dev/null
    ROLE_EXIT=hung
  fi
  wait "$role_pid" 2>/dev/null
  local rc=$?
  [[ "$ROLE_EXIT" == hung ]] || ROLE_EXIT=$rc
  sed "s/^/  [$role_name] /" "$work/$role_name.out"
  role_pid=""
}

cleanup() {
  stop_role >/dev/null 2>&1
  rm -rf "$work" "$exchange"
}
trap cleanup EXIT

# Runs the second launch's tests named by a GoogleTest filter.
run_tests() {
  local what="$1" filter="$2" rc
  bash "$KT_REPO_ROOT/tools/wine/run.sh" -t 150 "$program" --gtest_filter="$filter" </dev/null >"$work/tests.out" 2>&1
  rc=$?
  grep -E '^\[ *(RUN|OK|FAILED|PASSED) *\]|Failure|Expected|Which is|actual|no server' "$work/tests.out" | sed 's/^/  /'
  kt_check_eq "$what" 0 "$rc"
  grep -q '^\[  PASSED  \]' "$work/tests.out" || kt_check "$what: GoogleTest reported a pass" false
}

visible_zms_windows() { xdotool search --onlyvisible --name '^ZMS$' 2>/dev/null | wc -l; }

echo "== alone: the adapters, no server, own windows"
rm -rf "$exchange"
run_tests "adapters and the lone second launch" 'Adapters.*:Alone.*'

echo "== a lock process: its window is never a target"
if start_role lock-window; then
  run_tests "the lock window is never found" 'LockWindowOnly.*'
  stop_role
  kt_check_eq "the lock process ended cleanly" 0 "$ROLE_EXIT"
else
  kt_check "the lock process came up" false
fi

echo "== the running instance: found, asked over the pipe, brought forward"
if start_role running-instance; then
  kt_check_eq "the running instance's window starts hidden" 0 "$(visible_zms_windows)"
  before="$(log_size)"
  run_tests "the second launch against the running instance" 'RunningInstance.*'
  messages="$(log_since "$before")"
  kt_check "the handover logged its lines" grep -qx 'Another instance is already running, trying to show it...' <<<"$messages"
  kt_check "the handover logged its end" grep -qx 'Application exiting (activated existing instance)' <<<"$messages"
  kt_check_eq "X sees the shown window" 1 "$(visible_zms_windows)"

  before="$(log_size)"
  kt_run_app
  kt_check_eq "KelvoTarnel.exe hands over and exits with 0" 0 "$KT_EXIT"
  expected="========== Application starting ==========
Checking for single instance (mutex)...
Another instance is already running, trying to show it...
Application exiting (activated existing instance)"
  kt_check_eq "KelvoTarnel.exe's lines" "$expected" "$(log_since "$before")"

  stop_role
  kt_check_eq "the running instance got show messages and ended cleanly" 0 "$ROLE_EXIT"
else
  kt_check "the running instance came up" false
fi

echo "== an instance without a window: the second launch runs on without the mutex"
if start_role windowless; then
  before="$(log_size)"
  run_tests "the second launch against a windowless instance" 'WindowlessInstance.*'
  messages="$(log_since "$before" | grep -v '^Activation pipe server thread')"
  expected="Another instance is already running, trying to show it...
Could not find existing window handle
No target window found; continuing to run foreground instance"
  kt_check_eq "the no-target lines" "$expected" "$messages"
  stop_role
  kt_check_eq "the windowless instance ended cleanly" 0 "$ROLE_EXIT"
else
  kt_check "the windowless instance came up" false
fi

kt_finish
