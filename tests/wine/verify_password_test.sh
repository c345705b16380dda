#!/usr/bin/env bash
# The real executable's verification mode against password files in the prefix.
set -euo pipefail
# shellcheck source=SCRIPTDIR/../../tools/wine/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/wine/lib.sh"
kt_use_session

verify() {  # verify ARGS...: exit code of the verification run
  kt_run_app "$@"
  echo "$KT_EXIT"
}

kt_reset_data
kt_check_eq "no files: a wrong password against the built-in digest" 1 "$(verify --verify-uninstall-password wrong)"
kt_check_eq "no files: an empty password" 2 "$(verify --verify-uninstall-password '')"
kt_check_eq "no files: the flag without a value" 2 "$(verify --verify-uninstall-password)"

kt_write_uninstall_file "$(kt_digest 's3cret')"
kt_check_eq "uninstall digest: matching password" 0 "$(verify --verify-uninstall-password s3cret)"
kt_check_eq "uninstall digest: wrong password" 1 "$(verify --verify-uninstall-password S3cret)"
kt_check_eq "uninstall digest: the flag in capitals" 0 \
  "$(verify --VERIFY-UNINSTALL-PASSWORD s3cret)"
kt_check_eq "verification wins over lock mode" 0 "$(verify --native-lock-screen --verify-uninstall-password s3cret)"

kt_write_uninstall_file "$(kt_digest 's3cret' | tr a-f A-F)"
kt_check_eq "a stored digest in capitals matches" 0 "$(verify --verify-uninstall-password s3cret)"

printf '\xef\xbb\xbf{ "passwordHash" : "%s" }' "$(kt_digest 'pässwörd')" >"$KT_UNINSTALL_FILE"
kt_check_eq "non-ASCII password matches the digest of its UTF-8 bytes (file with BOM)" 0 \
  "$(verify --verify-uninstall-password 'pässwörd')"
kt_check_eq "non-ASCII password differs from an ASCII look-alike" 1 "$(verify --verify-uninstall-password 'passwoerd')"

rm -f "$KT_UNINSTALL_FILE"
kt_write_lock_file "$(kt_digest '2468')"
kt_check_eq "lock file's digest decides when there is no uninstall file" 0 "$(verify --verify-uninstall-password 2468)"
kt_check_eq "lock file's digest refuses another password" 1 "$(verify --verify-uninstall-password 1357)"

kt_check "verification mode writes no log line" test ! -s "$KT_APP_LOG"
kt_reset_data
kt_finish
