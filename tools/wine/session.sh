#!/usr/bin/env bash
# start: an Xvfb display and a freshly initialised Wine prefix with a persistent wineserver.
# stop: ends both. KT_XVFB_SCREEN sets the screen, KT_WINE_DPI the DPI (defaults in lib/env.sh).
set -euo pipefail
# shellcheck source=SCRIPTDIR/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

kt_need_tools wine Xvfb

stop_session() {
  if [[ -d "$WINEPREFIX" ]]; then
    wineserver -k 2>/dev/null || true
    timeout 20 wineserver -w 2>/dev/null || true
  fi
  if [[ -f "$KT_WINE_ROOT/xvfb.pid" ]]; then
    kill "$(cat "$KT_WINE_ROOT/xvfb.pid")" 2>/dev/null || true
    rm -f "$KT_WINE_ROOT/xvfb.pid"
  fi
  rm -f "$KT_WINE_ROOT/display"
}

xvfb_listening() {
  [[ -s "$KT_WINE_ROOT/display.number" ]] && [[ -e "/tmp/.X11-unix/X$(head -n1 "$KT_WINE_ROOT/display.number")" ]]
}
xvfb_listening_or_gone() { xvfb_listening || kt_gone "$1"; }

start_xvfb() {
  # Xvfb picks a free display itself and writes its number to descriptor 3: two sessions
  # starting at once can never take the same display.
  rm -f "$KT_WINE_ROOT/display.number"
  setsid Xvfb -displayfd 3 -screen 0 "$KT_XVFB_SCREEN" -nolisten tcp 3>"$KT_WINE_ROOT/display.number" \
    </dev/null >"$KT_WINE_ROOT/xvfb.log" 2>&1 &
  local pid=$!
  if kt_poll 100 0.1 xvfb_listening_or_gone "$pid" && xvfb_listening; then
    echo "$pid" >"$KT_WINE_ROOT/xvfb.pid"
    echo ":$(head -n1 "$KT_WINE_ROOT/display.number")" >"$KT_WINE_ROOT/display"
    return 0
  fi
  kill "$pid" 2>/dev/null || true
  kt_die "could not start Xvfb (see $KT_WINE_ROOT/xvfb.log)"
}

init_prefix() {
  rm -rf "$WINEPREFIX"
  mkdir -p "$WINEPREFIX"
  timeout 180 wineboot -i >/dev/null 2>&1 || kt_die "wineboot failed for $WINEPREFIX"
  # Without it a crash under Xvfb opens a debugger dialog and hangs until the time-out.
  wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f >/dev/null 2>&1
  timeout 60 wine winecfg -v win10 >/dev/null 2>&1 || kt_die "winecfg -v win10 failed"
  cat >"$KT_WINE_ROOT/prefix.reg" <<REG
Windows Registry Editor Version 5.00

[HKEY_CURRENT_USER\\Software\\Wine\\Fonts\\Replacements]
"Microsoft YaHei"="WenQuanYi Micro Hei"
"Microsoft YaHei UI"="WenQuanYi Micro Hei"
"SimSun"="WenQuanYi Micro Hei"

[HKEY_CURRENT_USER\\Software\\Wine\\X11 Driver]
"Managed"="N"

[HKEY_CLASSES_ROOT\\.exe]
@="exefile"

[HKEY_CURRENT_USER\\Control Panel\\Desktop]
"LogPixels"=dword:$(printf '%08x' "$KT_WINE_DPI")
REG
  mkdir -p "$WINEPREFIX/drive_c/windows/Fonts"
  cp /usr/share/wine/fonts/*.ttf "$WINEPREFIX/drive_c/windows/Fonts/" 2>/dev/null || true
  # A query started while the previous server is still going down now and then fails outright,
  # so the import and its check get three tries before the prefix counts as broken.
  local attempt
  for attempt in 1 2 3; do
    wine regedit /S "$(winepath -w "$KT_WINE_ROOT/prefix.reg")" >/dev/null 2>&1 || continue
    wineserver -w
    prefix_settings_took && return 0
  done
  kt_die "prefix registry settings did not take"
}

prefix_settings_took() {
  wine reg query 'HKCU\Software\Wine\X11 Driver' /v Managed 2>/dev/null | grep -Eq 'REG_SZ[[:space:]]+N'
}

case "${1:-}" in
  start)
    mkdir -p "$KT_WINE_ROOT"
    stop_session
    start_xvfb
    kt_use_display
    init_prefix
    # Kept alive for the whole session: services die with it, and warm starts are ten times faster.
    wineserver -w
    # The server goes into the background: it must not hold the caller's output open.
    wineserver -p </dev/null >/dev/null 2>&1
    # Wine's own services start with the first program and outlive it, holding whatever output
    # they inherited: start them here, detached, so that no test's output pipe stays open.
    timeout 60 wine reg query 'HKCU\Software\Wine' </dev/null >/dev/null 2>&1 || kt_die "first Wine start failed"
    echo "Wine session ready: DISPLAY=$DISPLAY WINEPREFIX=$WINEPREFIX"
    ;;
  stop)
    stop_session
    ;;
  *)
    echo "usage: $0 start|stop" >&2
    exit 2
    ;;
esac
