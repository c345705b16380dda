# shellcheck shell=bash
# Checks that name what failed and keep counting: a failed check never ends the script, and
# kt_finish closes with the line the test runners read.
KT_FAILURES=0
KT_CHECKS=0

kt_pass() {  # kt_pass WHAT
  KT_CHECKS=$((KT_CHECKS + 1))
  echo "ok   - $1"
}

kt_fail() {  # kt_fail WHAT
  KT_CHECKS=$((KT_CHECKS + 1))
  echo "FAIL - $1"
  KT_FAILURES=$((KT_FAILURES + 1))
}

kt_check() {  # kt_check WHAT COMMAND...
  local what="$1"
  shift
  if "$@"; then
    kt_pass "$what"
  else
    kt_fail "$what"
  fi
}

kt_check_eq() {  # kt_check_eq WHAT EXPECTED ACTUAL
  if [[ "$2" == "$3" ]]; then
    kt_pass "$1"
  else
    kt_fail "$1: expected [$2], got [$3]"
  fi
}

kt_finish() {
  echo "$((KT_CHECKS - KT_FAILURES)) passed, $KT_FAILURES failed"
  [[ $KT_FAILURES -eq 0 ]]
}
