#!/usr/bin/env bash
# Shows the native lock screen (KelvoTarnel.exe --native-lock-screen) in a running Wine session
# and unlocks it the way a person would: a wrong try first, then the password typed with
# xdotool and Enter. Keeps the screenshots under build/lock-screenshots and prints what
# happened. Needs KT_WINE_ROOT of a session started with tools/wine/session.sh.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
source tools/wine/common.sh
kt_use_display
for tool in xdotool import; do
  command -v "$tool" >/dev/null || kt_die "$tool is not installed (run tools/install_dependencies.sh)"
done
app="$KT_WINDOWS_BIN/KelvoTarnel.exe"
[[ -f "$app" ]] || kt_die "missing $app: build the windows preset first"

shots="${KT_LOCK_SHOTS:-$PWD/build/lock-screenshots}"
mkdir -p "$shots"
data="$(kt_prefix_path 'C:\ProgramData\KelvoTarnel')"
lock_file="$data/pseudo_lock.json"
app_log="$data/logs/app.log"
password="${KT_LOCK_DEMO_PASSWORD:-2468}"
work="$(mktemp -d)"
pid=""

finish() {
  # A demo that went wrong must not leave a lock window behind.
  if [[ -n "$pid" ]] && kill -0 "$pid" 2>/dev/null; then
    printf '{"locked":false}' >"$lock_file"
    for _ in $(seq 1 100); do kill -0 "$pid" 2>/dev/null || break; sleep 0.1; done
    kill "$pid" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap finish EXIT

mkdir -p "$data"
printf '{"locked":true,"passwordHash":"%s"}' "$(printf '%s' "$password" | sha256sum | cut -d' ' -f1)" >"$lock_file"
log_lines_before=0
[[ -f "$app_log" ]] && log_lines_before=$(wc -l <"$app_log")
echo "Native lock screen demo (password $password)"
echo "  pseudo_lock.json before: $(cat "$lock_file")"

started=$(date +%s%N)
bash tools/wine/run.sh -t 120 "$app" --native-lock-screen </dev/null >"$work/app.out" 2>&1 &
pid=$!
window=""
for _ in $(seq 1 150); do
  window="$(xdotool search --name '^ZMS Lock$' 2>/dev/null | head -1 || true)"
  [[ -n "$window" ]] && break
  kill -0 "$pid" 2>/dev/null || break
  sleep 0.2
done
[[ -n "$window" ]] || kt_die "the lock window did not appear"
read -r width height < <(xdotool getwindowgeometry "$window" | awk '/Geometry/ { split($2, s, "x"); print s[1], s[2] }')
echo "  lock window \"ZMS Lock\" is up after $((($(date +%s%N) - started) / 1000000)) ms, ${width}x${height}"

focus() {
  timeout 10 xdotool windowfocus "$window" 2>/dev/null || true
  sleep 0.2
}

sleep 3
timeout 30 import -window root "$shots/demo.png"
echo "  screenshot of the locked screen: $shots/demo.png"

focus
timeout 30 xdotool type --delay 120 1111
timeout 10 xdotool key Return
sleep 1
timeout 30 import -window root "$shots/demo-wrong.png"
if kill -0 "$pid" 2>/dev/null; then state="still locked"; else state="ENDED"; fi
echo "  typed 1111 and Enter: $state ($shots/demo-wrong.png)"

focus
timeout 30 xdotool type --delay 120 "$password"
sleep 0.5
timeout 30 import -window root "$shots/demo-typed.png"
echo "  typed the ${#password} digits of the password ($shots/demo-typed.png)"
pressed=$(date +%s%N)
timeout 10 xdotool key Return
for _ in $(seq 1 200); do kill -0 "$pid" 2>/dev/null || break; sleep 0.05; done
if kill -0 "$pid" 2>/dev/null; then
  echo "  Enter: the lock is still running after 10 s"
  exit 1
fi
set +e
wait "$pid"
code=$?
set -e
pid=""
echo "  Enter: the process ended with exit code $code, $((($(date +%s%N) - pressed) / 1000000)) ms after the key"
echo "  pseudo_lock.json after:  $(cat "$lock_file")"
echo "  application log lines of this run:"
tail -n +"$((log_lines_before + 1))" "$app_log" 2>/dev/null | sed 's/\r$//; s/^/    /'
[[ "$code" -eq 0 ]]
