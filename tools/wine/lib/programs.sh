# shellcheck shell=bash disable=SC2034
# Windows programs in the session, always through run.sh: its process becomes the time-out's,
# so a pid taken here is the one to signal. (KT_APP is read by the sourcing scripts.)
KT_APP="$KT_WINDOWS_BIN/KelvoTarnel.exe"

kt_wine_run() {  # kt_wine_run [-t SECONDS] PROGRAM [ARGS...]
  bash "$KT_WINE_TOOLS/run.sh" "$@"
}

# Starts a program in the background; its pid lands in KT_SPAWN_PID. Output goes to a file, never
# a pipe: a Wine process that outlives the call could hold the pipe open and stall its reader.
kt_wine_spawn() {  # kt_wine_spawn OUT [-t SECONDS] PROGRAM [ARGS...]
  local out="$1"
  shift
  bash "$KT_WINE_TOOLS/run.sh" "$@" </dev/null >"$out" 2>&1 &
  KT_SPAWN_PID=$!
}

kt_alive() { kill -0 "$1" 2>/dev/null; }
kt_gone() { ! kt_alive "$1"; }

# Runs the application, quietly, with a time-out; its exit code lands in KT_EXIT. Leaves the
# caller's shell options as they were.
kt_run_app() {  # kt_run_app [ARGS...]
  KT_EXIT=0
  kt_wine_run -t 60 "$KT_APP" "$@" </dev/null >/dev/null 2>&1 || KT_EXIT=$?
}
