#!/usr/bin/env bash
# The full application's start-up as far as this build goes: every stage in order in the log,
# then the window-creation failure path with exit code 1.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

# Log lines without their time stamps and line endings.
log_messages() { sed -E 's/^\[[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+\] //; s/\r$//' "$KT_APP_LOG"; }

# No agent service in this prefix, whatever ran before.
wine sc delete KelvoTarnelService </dev/null >/dev/null 2>&1 || true
mkdir -p "$KT_DATA_DIR"

rm -f "$KT_APP_LOG"
kt_run_app --some-dart-flag
kt_check_eq "full application ends at window creation with exit code 1" 1 "$KT_EXIT"
expected="========== Application starting ==========
Checking for single instance (mutex)...
Single instance check passed
Initializing COM...
COM initialized successfully
Creating Flutter DartProject...
DartProject created
Setting Dart entrypoint arguments...
Dart entrypoint arguments set
Checking and starting service if needed...
Service does not exist
Service does not exist. Please install the service first.
Warning: Failed to start service, continuing with GUI
Creating FlutterWindow...
DPI scale: dpi=96, ratio=1.00, screen=1920x1080, scale=1.00, window size=1200 x 720
FlutterWindow object created
Creating window (visible, manual launch)...
ERROR: Window Create failed. Error: 120
Application exiting (window creation failed)"
kt_check_eq "start-up lines in order" "$expected" "$(log_messages)"
kt_check "every line ends with CR LF" bash -c "! grep -qv $'\r$' '$KT_APP_LOG'"
kt_check "every line starts with an unpadded local time stamp" \
  bash -c "! grep -Ev '^\[[0-9]{4}-[1-9][0-9]?-[1-9][0-9]?( [0-9]|[ ][1-9][0-9]):([0-9]|[1-9][0-9]):([0-9]|[1-9][0-9])\] ' '$KT_APP_LOG'"
kt_check "the log file has no byte-order mark" bash -c "[[ \$(head -c1 '$KT_APP_LOG') == '[' ]]"

rm -f "$KT_APP_LOG"
kt_run_app --TRAY-ONLY
kt_check_eq "--tray-only: exit code" 1 "$KT_EXIT"
kt_check "--tray-only creates the window hidden" grep -q 'Creating window (hidden, service launch)...' "$KT_APP_LOG"

rm -f "$KT_APP_LOG"
kt_run_app --verify-uninstall-password=abc
kt_check_eq "--verify-uninstall-password=abc starts the full application" 1 "$KT_EXIT"
kt_check "--verify-uninstall-password=abc logs the application start" \
  grep -q '========== Application starting ==========' "$KT_APP_LOG"

rm -f "$KT_APP_LOG"
kt_run_app --Native-Lock-Screen
kt_check_eq "lock mode logs its line and nothing of the application" \
  "========== Native lock screen process starting ==========" "$(log_messages)"

# Lines from two runs append to one file.
rm -f "$KT_APP_LOG"
kt_run_app
kt_run_app
kt_check_eq "a second run appends to the same log" 2 "$(grep -c '========== Application starting ==========' "$KT_APP_LOG")"

kt_finish
