#!/usr/bin/env bash
# The service bootstrap with its real adapters against Wine's service control manager. The test
# service is registered as KelvoTarnelService and put into each situation in turn, and
# service_adapter_test.exe checks what the bootstrap makes of it: found running, started when
# stopped, reported missing. Needs a running session (tools/wine/session.sh start): services
# live only as long as its persistent wineserver.
set -uo pipefail
# shellcheck source=SCRIPTDIR/../../tools/wine/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/wine/lib.sh"
kt_use_session

service_exe="$KT_WINDOWS_TESTS/kt_test_service.exe"
adapter_test="$KT_WINDOWS_TESTS/service_adapter_test.exe"
kt_need_file "$service_exe" "kt_test_service with the windows preset"
kt_need_file "$adapter_test" "service_adapter_test with the windows preset"
kt_need_tools wine

service=KelvoTarnelService
service_dir_windows='C:\tests'
service_path_windows='C:\tests\kt_test_service.exe'

work="$(mktemp -d)"

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

service_in_state() {
  SERVICE_STATE="$(service_state)"
  [[ "$SERVICE_STATE" == "$1" ]]
}

# Waits (bounded, so that a hang can't outlive the test) until the service is in `expected`.
wait_for_state() {
  local expected="$1"
  kt_poll 200 0.1 service_in_state "$expected" && return 0
  echo "service $service stayed in state $SERVICE_STATE, expected $expected" >&2
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
kt_at_exit cleanup

# Runs the adapter test for one situation; its own messages say what went wrong.
run_adapter_test() {
  local situation="$1" rc=0
  kt_wine_run -t 60 "$adapter_test" "$situation" >"$work/run.out" 2>&1 || rc=$?
  sed "s/^/  [$situation] /" "$work/run.out"
  kt_check_eq "$situation: service_adapter_test's exit code" 0 "$rc"
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
  kt_check_eq "running: the service still runs after the test" 4 "$(service_state)"
else
  kt_fail "running: sc start did not bring $service up"
fi

echo "== stopped: the service is started"
sc stop "$service" || cat "$work/sc.out" >&2
if wait_for_state 1; then
  run_adapter_test stopped
  kt_check_eq "stopped: sc sees $service running after the start" 4 "$(service_state)"
else
  kt_fail "stopped: sc stop did not stop $service"
fi

echo "== missing: the service is reported missing"
if remove_service; then
  log_size="$(kt_log_size)"
  run_adapter_test missing
  # The same lines, read from outside the program.
  expected_lines=$'Service does not exist\nService does not exist\nService does not exist. Please install the service first.'
  kt_check_eq "missing: the lines the application log gained" "$expected_lines" "$(kt_log_messages_since "$log_size")"
else
  kt_fail "missing: $service could not be deleted"
fi

kt_finish
