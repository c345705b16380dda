# Sourced by every script that runs a Windows program: one Wine prefix and one Xvfb per
# KT_WINE_ROOT (default: build/wine of this tree), never ~/.wine.
KT_REPO_ROOT="${KT_REPO_ROOT:-$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)}"
KT_WINE_ROOT="${KT_WINE_ROOT:-$KT_REPO_ROOT/build/wine}"
KT_WINDOWS_BIN="${KT_WINDOWS_BIN:-$KT_REPO_ROOT/build/windows/bin}"
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

# Every Wine run needs the session's display: a wineserver that once ran without one keeps the
# prefix windowless.
kt_use_display() {
  [[ -f "$KT_WINE_ROOT/display" ]] || kt_die "no Wine session under $KT_WINE_ROOT (tools/wine/session.sh start)"
  export DISPLAY
  DISPLAY="$(cat "$KT_WINE_ROOT/display")"
}

# A Windows path of the prefix (C:\...) as a path of this machine.
kt_prefix_path() {
  local windows_path="$1"
  local rest="${windows_path#[Cc]:}"
  rest="${rest//\\//}"
  echo "$WINEPREFIX/drive_c$rest"
}
