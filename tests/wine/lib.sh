# Sourced by the Wine test scripts: assertions that name what failed and keep counting.
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/wine/common.sh"
kt_use_display
KT_FAILURES=0
KT_CHECKS=0

kt_check() {  # kt_check "what" command...
  local what="$1"
  shift
  KT_CHECKS=$((KT_CHECKS + 1))
  if "$@"; then
    echo "ok   - $what"
  else
    echo "FAIL - $what"
    KT_FAILURES=$((KT_FAILURES + 1))
  fi
}

kt_check_eq() {  # kt_check_eq "what" expected actual
  KT_CHECKS=$((KT_CHECKS + 1))
  if [[ "$2" == "$3" ]]; then
    echo "ok   - $1"
  else
    echo "FAIL - $1: expected [$2], got [$3]"
    KT_FAILURES=$((KT_FAILURES + 1))
  fi
}

kt_finish() {
  echo "$((KT_CHECKS - KT_FAILURES)) passed, $KT_FAILURES failed"
  [[ $KT_FAILURES -eq 0 ]]
}

KT_APP="$KT_WINDOWS_BIN/KelvoTarnel.exe"
KT_DATA_DIR="$(kt_prefix_path 'C:\ProgramData\KelvoTarnel')"
KT_APP_LOG="$KT_DATA_DIR/logs/app.log"

# Runs the application with a time-out; its exit code lands in KT_EXIT.
kt_run_app() {
  set +e
  "$KT_REPO_ROOT/tools/wine/run.sh" -t 60 "$KT_APP" "$@" </dev/null >/dev/null 2>&1
  KT_EXIT=$?
  set -e
}
