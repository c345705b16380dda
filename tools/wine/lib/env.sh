# shellcheck shell=bash
# Every default of the Wine scripts, each in this one place; a value already in the environment
# wins. One Wine prefix and one Xvfb per KT_WINE_ROOT, never ~/.wine.
KT_REPO_ROOT="${KT_REPO_ROOT:-$(cd "$KT_WINE_TOOLS/../.." && pwd)}"
KT_WINE_ROOT="${KT_WINE_ROOT:-$KT_REPO_ROOT/build/wine}"
KT_WINDOWS_BIN="${KT_WINDOWS_BIN:-$KT_REPO_ROOT/build/windows/bin}"
KT_WINDOWS_TESTS="${KT_WINDOWS_TESTS:-$KT_REPO_ROOT/build/windows/tests}"
KT_XVFB_SCREEN="${KT_XVFB_SCREEN:-1920x1080x24}"
KT_WINE_DPI="${KT_WINE_DPI:-96}"
KT_LOCK_PROBE="${KT_LOCK_PROBE:-$KT_REPO_ROOT/build/host/tests/paint/paint_probe}"
KT_LOCK_SHOTS="${KT_LOCK_SHOTS:-$KT_REPO_ROOT/build/lock-screenshots}"
KT_DEMO_SHOTS="${KT_DEMO_SHOTS:-$KT_REPO_ROOT/build/demo-screenshots}"
# The scripts a caller starts (run.sh, session.sh, ...) work in the caller's tree and session.
# The other defaults stay unexported: each script sources this file itself, and a value a
# caller must set (a scaled test's screen) is not given one behind its back.
export KT_REPO_ROOT KT_WINE_ROOT KT_WINDOWS_BIN

export WINEPREFIX="$KT_WINE_ROOT/prefix"
export WINEDEBUG=-all
export LANG=C.UTF-8
export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe="
export WINEARCH=win64

kt_die() {
  echo "FATAL: $*" >&2
  exit 1
}

kt_need_tools() {  # kt_need_tools TOOL...
  local tool
  for tool in "$@"; do
    command -v "$tool" >/dev/null || kt_die "$tool is not installed (run tools/install_dependencies.sh)"
  done
}

kt_need_file() {  # kt_need_file FILE WHAT-BUILDS-IT
  [[ -f "$1" ]] || kt_die "missing $1: build $2"
}

# Cleanups for the way out, the latest first. A script and the helpers it calls each add their
# own; a plain trap would drop all but the last.
KT_AT_EXIT=()
kt_at_exit() {  # kt_at_exit FUNCTION
  KT_AT_EXIT=("$1" "${KT_AT_EXIT[@]}")
  trap kt_run_at_exit EXIT
}
kt_run_at_exit() {
  local action
  for action in "${KT_AT_EXIT[@]}"; do
    "$action" || true
  done
}

# kt_poll TRIES PAUSE COMMAND...: runs COMMAND until it succeeds, at most TRIES times with PAUSE
# seconds between tries; false when it never did.
kt_poll() {
  local tries="$1" pause="$2" try
  shift 2
  for ((try = 1; try <= tries; try++)); do
    "$@" && return 0
    sleep "$pause"
  done
  return 1
}
