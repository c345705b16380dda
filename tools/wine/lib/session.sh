# shellcheck shell=bash
# The session: an Xvfb display and a Wine prefix under KT_WINE_ROOT, started and stopped by
# tools/wine/session.sh.

# Every Wine run needs the session's display: a wineserver that once ran without one keeps the
# prefix windowless.
kt_use_display() {
  [[ -f "$KT_WINE_ROOT/display" ]] || kt_die "no Wine session under $KT_WINE_ROOT (tools/wine/session.sh start)"
  export DISPLAY
  DISPLAY="$(cat "$KT_WINE_ROOT/display")"
}

# Tests and demos also need the prefix the session made.
kt_use_session() {
  kt_use_display
  [[ -d "$WINEPREFIX/drive_c" ]] || kt_die "no Wine prefix at $WINEPREFIX (tools/wine/session.sh start)"
}

kt_session() {  # kt_session start|stop
  bash "$KT_WINE_TOOLS/session.sh" "$@"
}

# A session of the caller's own, stopped on every way out, even when the start failed half way.
# With LOG, what the session scripts say goes there instead of to the caller's output.
KT_OWN_SESSION_LOG=""
kt_own_session() {  # kt_own_session [LOG]
  KT_OWN_SESSION_LOG="${1:-}"
  kt_at_exit kt_stop_own_session
  if [[ -z "$KT_OWN_SESSION_LOG" ]]; then
    kt_session start || kt_die "session start failed under $KT_WINE_ROOT"
  elif ! kt_session start >"$KT_OWN_SESSION_LOG" 2>&1; then
    kt_die "session start failed: $(cat "$KT_OWN_SESSION_LOG")"
  fi
}
kt_stop_own_session() {
  if [[ -n "$KT_OWN_SESSION_LOG" ]]; then
    kt_session stop >>"$KT_OWN_SESSION_LOG" 2>&1
  else
    kt_session stop >/dev/null 2>&1
  fi
}
