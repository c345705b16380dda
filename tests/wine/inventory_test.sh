#!/usr/bin/env bash
# inventory_test.sh TEST-PROGRAM: runs the inventory's end-to-end test once per network layout,
# each inside a network namespace of its own made here (loopback and veth pairs with chosen names
# and addresses, nothing reaching beyond them), with the Wine session, the stand-in's port and
# the driver all inside it. Each layout gets a fresh session under KT_WINE_ROOT, whose wineserver
# is ended before the next layout starts. Needs root for the namespaces.
set -uo pipefail
# shellcheck source=SCRIPTDIR/../../tools/wine/lib.sh
source "$(dirname "${BASH_SOURCE[0]}")/../../tools/wine/lib.sh"
[[ $# -ge 1 ]] || kt_die "usage: inventory_test.sh TEST-PROGRAM"
[[ "$KT_WINE_ROOT" == "$KT_REPO_ROOT/build/"* ]] || kt_die "KT_WINE_ROOT must lie under the build tree"
[[ $EUID -eq 0 ]] || kt_die "network namespaces need root"
kt_need_tools unshare ip xdpyinfo Xvfb wine
program="$1"

# Inside the namespace: inventory_test.sh --inside PROGRAM ADDRESS INTERFACE FILTER NAME=CIDR...
if [[ "$program" == "--inside" ]]; then
  program="$2" address="$3" interface="$4" filter="$5"
  shift 5
  # The namespace's own /sys, or /sys/class/net would show the host's interfaces. Its own
  # folders of X display and wineserver sockets too, so that other sessions of the machine
  # neither take this namespace's display nor meet its server; the rest of /tmp stays shared,
  # since the tree under test may lie there.
  mount -t sysfs sysfs /sys || kt_die "could not mount the namespace's /sys"
  for sockets in /tmp/.X11-unix "/tmp/.wine-$EUID"; do
    mkdir -p "$sockets" && mount -t tmpfs tmpfs "$sockets" ||
      kt_die "could not mount the namespace's $sockets"
  done
  chmod 1777 /tmp/.X11-unix
  chmod 700 "/tmp/.wine-$EUID"
  ip link set lo up || kt_die "no loopback in the namespace"
  for link in "$@"; do
    name="${link%%=*}"
    ip link add "$name" type veth peer name "${name}p" || kt_die "could not make $name"
    ip link set "$name" up && ip link set "${name}p" up || kt_die "could not raise $name"
    IFS=, read -ra cidrs <<<"${link#*=}"
    for cidr in "${cidrs[@]}"; do
      ip addr add "$cidr" dev "$name" || kt_die "could not give $name $cidr"
    done
  done
  mkdir -p "$KT_WINE_ROOT"
  kt_own_session "$KT_WINE_ROOT/session.log"
  KT_LAYOUT_ADDRESS="$address" KT_LAYOUT_INTERFACE="$interface" "$program" --gtest_filter="$filter"
  status=$?
  if [[ $status -ne 0 ]]; then
    echo "--- the application's log:"
    cat "$WINEPREFIX/drive_c/ProgramData/KelvoTarnel/logs/app.log" 2>&1
    echo "--- processes:"
    ps -eo pid,etimes,args | grep -E 'wineserver|\.exe( |$)' | grep -v grep
  fi
  exit $status
fi

failed=0
# layout NAME SCREEN ADDRESS INTERFACE FILTER NAME=CIDR[,CIDR]...: links are made in the order
# given, which is the order the adapters are listed in; SCREEN is the Xvfb screen of the session.
layout() {
  local name="$1" screen="$2"
  shift 2
  echo "=== layout: $name ($screen)"
  if ! KT_XVFB_SCREEN="$screen" unshare --net --mount --propagation private \
    bash "${BASH_SOURCE[0]}" --inside "$program" "$@"; then
    echo "=== layout $name FAILED"
    failed=1
  fi
}

layout "exclusion by name" 1920x1080x24 10.0.0.5 eth1 '*' \
  vpn0=192.168.1.5/24 tap1=192.168.2.5/24 bluetooth0=192.168.3.5/24 eth1=10.0.0.5/24
layout "private ranges outrank each other" 1600x900x24 192.168.7.5 eth4 '*StartupReport*' \
  eth1=203.0.113.5/24,172.15.0.5/16 eth2=172.31.0.5/16 eth3=10.1.0.5/16 eth4=192.168.7.5/24 \
  eth5=172.16.0.5/16
layout "ten outranks one seventy-two" 1280x1024x24 10.1.0.5 eth3 '*StartupReport*' \
  eth1=172.20.0.5/16 eth2=203.0.113.9/24 eth3=10.1.0.5/16
layout "the first of equals" 1024x768x24 10.9.0.5 net9 '*StartupReport*' \
  net9=10.9.0.5/16 net1=10.1.0.5/16
exit "$failed"
