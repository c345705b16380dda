#!/usr/bin/env bash
# Single instance and activation across real processes: single_instance_test.exe plays the
# other process in each situation (nobody, a lock process, the running instance, an instance
# without a window) and runs the second launch's tests against it; the real KelvoTarnel.exe
# then hands over to the running instance. Needs a running session (tools/wine/session.sh start).
set -uo pipefail
# shellcheck source=SCRIPTDIR/../../tools/wine/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/wine/lib.sh"
kt_use_session

program="$KT_WINDOWS_TESTS/single_instance_test.exe"
kt_need_file "$program" "single_instance_test with the windows preset"
kt_need_file "$KT_APP" "KelvoTarnel with the windows preset"
kt_need_tools xdotool

exchange="$(kt_prefix_path 'C:\kt_instance_test')"
work="$(mktemp -d)"
role_pid=""
role_name=""

role_ready_or_gone() { [[ -f "$exchange/ready" ]] || kt_gone "$role_pid"; }

# Starts the other process in `role` and waits (bounded) until it says it is up.
start_role() {
  role_name="$1"
  rm -rf "$exchange"
  mkdir -p "$exchange"
  kt_wine_spawn "$work/$role_name.out" -t 200 "$program" "$role_name"
  role_pid=$KT_SPAWN_PID
  kt_poll 600 0.1 role_ready_or_gone || true
  [[ -f "$exchange/ready" ]] && return 0
  echo "the $role_name process did not come up:" >&2
  sed "s/^/  [$role_name] /" "$work/$role_name.out" >&2
  return 1
}

# Tells the other process to end and waits (bounded) for it; its exit code lands in ROLE_EXIT.
stop_role() {
  ROLE_EXIT=none
  [[ -n "$role_pid" ]] || return 0
  touch "$exchange/stop"
  if ! kt_poll 300 0.1 kt_gone "$role_pid"; then
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
kt_at_exit cleanup

# Runs the second launch's tests named by a GoogleTest filter.
run_tests() {
  local what="$1" filter="$2" rc=0
  kt_wine_run -t 150 "$program" --gtest_filter="$filter" </dev/null >"$work/tests.out" 2>&1 || rc=$?
  grep -E '^\[ *(RUN|OK|FAILED|PASSED) *\]|Failure|Expected|Which is|actual|no server' "$work/tests.out" | sed 's/^/  /'
  kt_check_eq "$what" 0 "$rc"
  grep -q '^\[  PASSED  \]' "$work/tests.out" || kt_fail "$what: GoogleTest reported a pass"
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
  kt_fail "the lock process came up"
fi

echo "== the running instance: found, asked over the pipe, brought forward"
if start_role running-instance; then
  kt_check_eq "the running instance's window starts hidden" 0 "$(visible_zms_windows)"
  before="$(kt_log_size)"
  run_tests "the second launch against the running instance" 'RunningInstance.*'
  messages="$(kt_log_messages_since "$before")"
  kt_check "the handover logged its lines" grep -qx 'Another instance is already running, trying to show it...' <<<"$messages"
  kt_check "the handover logged its end" grep -qx 'Application exiting (activated existing instance)' <<<"$messages"
  kt_check_eq "X sees the shown window" 1 "$(visible_zms_windows)"

  before="$(kt_log_size)"
  kt_run_app
  kt_check_eq "KelvoTarnel.exe hands over and exits with 0" 0 "$KT_EXIT"
  expected="========== Application starting ==========
Checking for single instance (mutex)...
Another instance is already running, trying to show it...
Application exiting (activated existing instance)"
  kt_check_eq "KelvoTarnel.exe's lines" "$expected" "$(kt_log_messages_since "$before")"

  stop_role
  kt_check_eq "the running instance got show messages and ended cleanly" 0 "$ROLE_EXIT"
else
  kt_fail "the running instance came up"
fi

echo "== an instance without a window: the second launch runs on without the mutex"
if start_role windowless; then
  before="$(kt_log_size)"
  run_tests "the second launch against a windowless instance" 'WindowlessInstance.*'
  messages="$(kt_log_messages_since "$before" | grep -v '^Activation pipe server thread')"
  expected="Another instance is already running, trying to show it...
Could not find existing window handle
No target window found; continuing to run foreground instance"
  kt_check_eq "the no-target lines" "$expected" "$messages"
  stop_role
  kt_check_eq "the windowless instance ended cleanly" 0 "$ROLE_EXIT"
else
  kt_fail "the windowless instance came up"
fi

kt_finish
