#!/usr/bin/env bash
# Every test: unit tests (plain and under AddressSanitizer + UndefinedBehavior-
# Sanitizer), end-to-end tests against real net-snmp tools and lldpd, and the
# robustness runs (ThreadSanitizer, fuzzing).
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh
jobs="$(nproc)"

echo "== build"
bash scripts/build.sh build
echo "== unit tests"
ctest --test-dir build --output-on-failure -j"$jobs"

echo "== unit tests under ASan+UBSan"
bash scripts/build.sh build-asan -DLLDPMIB_SANITIZE=address,undefined \
  -DLLDPMIB_BUILD_HOST=OFF -DLLDPMIB_BUILD_BENCH=OFF
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  ctest --test-dir build-asan --output-on-failure -j"$jobs"

if ls tests/e2e/test_*.py >/dev/null 2>&1; then
  echo "== end-to-end tests"
  LLDPMIB_BUILD_DIR="$PWD/build" /usr/bin/python3 -m pytest -q -rP tests/e2e
fi

if [ -f scripts/robustness.sh ]; then
  echo "== robustness"
  bash scripts/robustness.sh
fi
