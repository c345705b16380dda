# shellcheck shell=bash
# The Wine scripts' one library, sourced by the tests, the demos and the session and run entry
# points alike. Sourcing only sets defaults and defines functions: nothing reaches a session, a
# file or a trap until a function is called.
KT_WINE_TOOLS="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
# shellcheck source=SCRIPTDIR/lib/env.sh
source "$KT_WINE_TOOLS/lib/env.sh"
# shellcheck source=SCRIPTDIR/lib/session.sh
source "$KT_WINE_TOOLS/lib/session.sh"
# shellcheck source=SCRIPTDIR/lib/data.sh
source "$KT_WINE_TOOLS/lib/data.sh"
# shellcheck source=SCRIPTDIR/lib/programs.sh
source "$KT_WINE_TOOLS/lib/programs.sh"
# shellcheck source=SCRIPTDIR/lib/checks.sh
source "$KT_WINE_TOOLS/lib/checks.sh"
# shellcheck source=SCRIPTDIR/lib/lock.sh
source "$KT_WINE_TOOLS/lib/lock.sh"
