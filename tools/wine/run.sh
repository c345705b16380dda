#!/usr/bin/env bash
# run.sh [-t seconds] PROGRAM [ARGS...]: runs a Windows program in the session's prefix and
# display, under a time-out, and exits with its exit code.
set -uo pipefail
# shellcheck source=SCRIPTDIR/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"
limit=60
if [[ "${1:-}" == "-t" ]]; then
  limit="$2"
  shift 2
fi
[[ $# -ge 1 ]] || kt_die "usage: run.sh [-t seconds] PROGRAM [ARGS...]"
kt_use_display
exec timeout -k 5 "$limit" wine "$@"
