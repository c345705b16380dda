# shellcheck shell=bash disable=SC2034
# The application's side of the prefix: its data folder, the password files that the outside
# writer leaves there, and the application log. (The variables are read by the sourcing scripts.)
KT_DATA_DIR_WINDOWS='C:\ProgramData\KelvoTarnel'

# A Windows path of the prefix (C:\...) as a path of this machine.
kt_prefix_path() {
  local windows_path="$1"
  local rest="${windows_path#[Cc]:}"
  rest="${rest//\\//}"
  echo "$WINEPREFIX/drive_c$rest"
}

KT_DATA_DIR="$(kt_prefix_path "$KT_DATA_DIR_WINDOWS")"
KT_APP_LOG="$KT_DATA_DIR/logs/app.log"
KT_LOCK_FILE="$KT_DATA_DIR/pseudo_lock.json"
KT_UNINSTALL_FILE="$KT_DATA_DIR/uninstall_auth.json"

# The digest the password files hold: SHA-256 of the password's UTF-8 bytes, lower-case hex.
kt_digest() { printf '%s' "$1" | sha256sum | cut -d' ' -f1; }

# The files as the outside writer leaves them.
kt_write_lock_file() { printf '{"locked":true,"passwordHash":"%s"}' "$1" >"$KT_LOCK_FILE"; }
kt_write_unlocked_lock_file() { printf '{"locked":false}' >"$KT_LOCK_FILE"; }
kt_write_uninstall_file() { printf '{"passwordHash":"%s"}' "$1" >"$KT_UNINSTALL_FILE"; }

# No password files and no log: the application's first start.
kt_reset_data() {
  mkdir -p "$KT_DATA_DIR"
  rm -f "$KT_LOCK_FILE" "$KT_UNINSTALL_FILE" "$KT_APP_LOG"
}

# The log only grows: a run's lines are those after the size it had before.
kt_log_size() { if [[ -f "$KT_APP_LOG" ]]; then stat -c %s "$KT_APP_LOG"; else echo 0; fi; }
kt_log_lines_since() {  # kt_log_lines_since OFFSET: the lines, without their line ends
  tail -c +"$(($1 + 1))" "$KT_APP_LOG" 2>/dev/null | sed 's/\r$//'
}
kt_log_messages_since() {  # kt_log_messages_since OFFSET: the lines without time stamps
  kt_log_lines_since "$1" | sed -E 's/^\[[0-9]+-[0-9]+-[0-9]+ [0-9]+:[0-9]+:[0-9]+\] //'
}
