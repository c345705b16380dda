#!/usr/bin/env bash
# Builds both builds and runs every test of every preset: the host unit tests (plain, ASan+UBSan,
# TSan), the fuzz targets' short runs, the benchmarks, and the Windows programs under Wine.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.." || exit 1
bash tools/install_dependencies.sh || exit 1

failed=()
step() {  # step NAME command...
  local name="$1"
  shift
  echo "===== $name"
  if ! "$@"; then
    echo "===== $name FAILED"
    failed+=("$name")
  fi
}

build_preset() {
  cmake --preset "$1" >/dev/null && cmake --build --preset "$1" -j 2
}

# The Windows build first: the host preset's Wine tests run its programs.
step "build windows" build_preset windows
for preset in host host-asan host-tsan fuzz; do
  if step "build $preset" build_preset "$preset"; then
    step "test $preset" ctest --preset "$preset" -j 2
  fi
done

if [[ ${#failed[@]} -gt 0 ]]; then
  echo "FAILED: ${failed[*]}"
  exit 1
fi
echo "All builds and tests passed."
