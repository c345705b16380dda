#!/usr/bin/env bash
# in_own_session.sh COMMAND...: runs COMMAND in a Wine session of its own under KT_WINE_ROOT
# (which must lie under the build tree), started here and stopped on every way out. For tests
# whose windows must meet no other test's, or whose changes (super block hides every window it
# may) would reach into another test's.
set -uo pipefail
# shellcheck source=SCRIPTDIR/../../tools/wine/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/wine/lib.sh"
[[ $# -ge 1 ]] || kt_die "usage: in_own_session.sh COMMAND..."
[[ "$KT_WINE_ROOT" == "$KT_REPO_ROOT/build/"* ]] || kt_die "KT_WINE_ROOT must lie under the build tree"
mkdir -p "$KT_WINE_ROOT"
kt_own_session "$KT_WINE_ROOT/session.log"
"$@"
