#!/usr/bin/env bash
# Installs what the builds and tests need on a Debian machine, skipping what is there.
set -euo pipefail
packages=(
  cmake ninja-build g++ clang libclang-rt-14-dev
  googletest libgtest-dev libgmock-dev libbenchmark-dev libssl-dev
  g++-mingw-w64-x86-64-posix mingw-w64-tools
  wine wine64 xvfb xdotool imagemagick fonts-wqy-microhei fonts-wine
)
missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
if [[ ${#missing[@]} -eq 0 ]]; then
  echo "All build and test dependencies are installed."
  exit 0
fi
[[ $(id -u) -eq 0 ]] || { echo "FATAL: missing packages (${missing[*]}) and not root to install them" >&2; exit 1; }
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
for tool in x86_64-w64-mingw32-g++-posix wine Xvfb xdotool clang++ cmake ninja; do
  command -v "$tool" >/dev/null || { echo "FATAL: $tool still missing after the install" >&2; exit 1; }
done
