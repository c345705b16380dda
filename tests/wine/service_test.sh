#!/usr/bin/env bash
# The service bootstrap with its real adapters against Wine's service control manager. The test
# service is registered as KelvoTarnelService and put into each situation in turn, and
# service_adapter_test.exe checks what the bootstrap makes of it: found running, started when
# stopped, reported missing. Needs a running session (tools/wine/session.sh start): services
# live only as long as its persistent wineserver.
set -uo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/wine/common.sh"
kt_use_display

tests_dir="${KT_WINDOWS_TESTS:-$KT_REPO_ROOT/build/windows/tests}"
service_exe="$tests_dir/kt_test_service.exe"
adapter_test="$tests_dir/service_adapter_test.exe"
[[ -f "$service_exe" ]] || kt_die "$service_exe is missing: build kt_test_service with the windows preset"
[[ -f "$adapter_test" ]] || kt_die "$adapter_test is missing: build service_adapter_test with the windows preset"
[[ -d "$WINEPREFIX/drive_c" ]] || kt_die "no Wine prefix at $WINEPREFIX (tools/wine/session.sh start)"
command -v wine >/dev/null || kt_die "wine is not installed"

service=KelvoTarnelService
service_dir_windows='C:\tests'
service_path_windows='C:\tests\kt_test_service.exe'
app_log="$(kt_prefix_path 'C:\ProgramData\KelvoTarnel\logs\app.log')"

work="$(mktemp -d)"
failures=0

fail() {
  echo "FAIL: $*" >&2
  failures=$((failures + 1))
}

# sc's output goes to a file, never to a pipe: a Wine process that outlives the call could hold
# a pipe open and stall whoever reads it.
sc() {
  timeout 30 wine sc "$@" >"$work/sc.out" 2>&1
}

# The service's state number as sc reports it, or "absent" when it can't be queried.
service_state() {
  if ! sc query "$service"; then
    echo absent
    return
  fi
  local state
  state="$(sed -n 's/^ *STATE *: *\([0-9][0-9]*\).*/\1/p' "$work/sc.out")"
  echo "${state:-unknown}"
}

# Waits (bounded, so that a hang can't outlive the test) until the service is in `expected`.
wait_for_state() {
  local expected="$1" tries state
  for tries in $(seq 1 200); do
    state="$(service_state)"
    [[ "$state" == "$expected" ]] && return 0
    sleep 0.1
  done
  echo "service $service stayed in state $state, expected $expected" >&2
  return 1
}

remove_service() {
  [[ "$(service_state)" == absent ]] && return 0
  sc stop "$service"
  wait_for_state 1 || return 1
  sc delete "$service"
  wait_for_state absent
}

cleanup() {
  remove_service >/dev/null 2>&1
  rm -rf "$work"
}
trap cleanup EXIT

# Runs the adapter test for one situation; its own messages say what went wrong.
run_adapter_test() {
  local situation="$1" rc
  bash "$KT_REPO_ROOT/tools/wine/run.sh" -t 60 "$adapter_test" "$situation" >"$work/run.out" 2>&1
  rc=$?
  sed "s/^/  [$situation] /" "$work/run.out"
  if [[ $rc -ne 0 ]]; then
    fail "service_adapter_test $situation exited with $rc"
    return 1
  fi
}

echo "== registering $service_path_windows as $service"
remove_service || kt_die "a $service left from an earlier run could not be removed"
mkdir -p "$(kt_prefix_path "$service_dir_windows")"
cp "$service_exe" "$(kt_prefix_path "$service_path_windows")" || kt_die "could not copy the test service into the prefix"
sc create "$service" binPath= "$service_path_windows" || {
  cat "$work/sc.out" >&2
  kt_die "sc create $service failed"
}
[[ "$(service_state)" == 1 ]] || kt_die "the new service is not stopped (state $(service_state))"

echo "== running: the service is found running and not started again"
sc start "$service" || cat "$work/sc.out" >&2
if wait_for_state 4; then
  run_adapter_test running
  [[ "$(service_state)" == 4 ]] || fail "running: the service no longer runs after the test"
else
  fail "running: sc start did not bring $service up"
fi

echo "== stopped: the service is started"
sc stop "$service" || cat "$work/sc.out" >&2
if wait_for_state 1; then
  run_adapter_test stopped
  [[ "$(service_state)" == 4 ]] || fail "stopped: sc does not see $service running after the start"
else
  fail "stopped: sc stop did not stop $service"
fi

echo "== missing: the service is reported missing"
if remove_service; then
  log_size=0
  [[ -f "$app_log" ]] && log_size="$(stat -c %s "$app_log")"
  run_adapter_test missing
  # The same lines, read from outside the program.
  new_lines="$(tail -c +"$((log_size + 1))" "$app_log" 2>/dev/null | tr -d '\r' | sed 's/^\[[^]]*\] //')"
  expected_lines=$'Service does not exist\nService does not exist\nService does not exist. Please install the service first.'
  [[ "$new_lines" == "$expected_lines" ]] ||
    fail "missing: $app_log gained"$'\n'"$new_lines"$'\n'"instead of"$'\n'"$expected_lines"
else
  fail "missing: $service could not be deleted"
fi

if [[ $failures -ne 0 ]]; then
  echo "wine_service_bootstrap: $failures failure(s)" >&2
  exit 1
fi
echo "wine_service_bootstrap: all three situations passed"
