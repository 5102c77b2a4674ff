#!/usr/bin/env bash
# Robustness runs that need their own builds:
#   1. the concurrency test under ThreadSanitizer (build-tsan),
#   2. the fault sweep under AddressSanitizer+UBSan+LSan (build-fuzz),
#   3. the libFuzzer target for FUZZ_SECONDS (default 60) under
#      AddressSanitizer+UBSan+LSan (build-fuzz, clang).
# Prints one result line per run; exits non-zero when any of them fails.
set -uo pipefail
ROOT="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
TSAN_DIR="${TSAN_BUILD_DIR:-$ROOT/build-tsan}"
FUZZ_DIR="${FUZZ_BUILD_DIR:-$ROOT/build-fuzz}"
FUZZ_SECONDS="${FUZZ_SECONDS:-60}"
JOBS="${JOBS:-2}"
WORK="$(mktemp -d)"
trap 'rm -rf "$WORK"' EXIT

declare -a RESULTS=()
failed=0

step() {  # step NAME LOG COMMAND...
    local name="$1" log="$2"
    shift 2
    local start=$SECONDS
    if "$@" >"$log" 2>&1; then
        RESULTS+=("PASS  $name ($((SECONDS - start)) s)")
    else
        RESULTS+=("FAIL  $name ($((SECONDS - start)) s), log: $log")
        failed=1
        echo "---- $name failed; last lines of $log:" >&2
        tail -n 40 "$log" >&2
    fi
}

configure_tsan() {
    cmake -S "$ROOT" -B "$TSAN_DIR" -DCMAKE_BUILD_TYPE=Debug -DLLDPMIB_SANITIZE=thread \
        -DLLDPMIB_BUILD_HOST=OFF -DLLDPMIB_BUILD_BENCH=OFF &&
        cmake --build "$TSAN_DIR" -j"$JOBS" --target robustness_test
}

configure_fuzz() {
    CC=clang CXX=clang++ cmake -S "$ROOT" -B "$FUZZ_DIR" -DCMAKE_BUILD_TYPE=Debug \
        -DCMAKE_CXX_FLAGS="-O1 -g" -DLLDPMIB_SANITIZE=address,undefined \
        -DLLDPMIB_BUILD_FUZZ=ON -DLLDPMIB_BUILD_HOST=OFF -DLLDPMIB_BUILD_BENCH=OFF &&
        cmake --build "$FUZZ_DIR" -j"$JOBS" --target lldpmib_fuzz robustness_test
}

run_fuzz() {
    export ASAN_OPTIONS="detect_leaks=1"
    mkdir -p "$WORK/corpus"
    # New inputs go to the scratch corpus; the seeds in the tree stay as they are.
    "$FUZZ_DIR/fuzz/lldpmib_fuzz" -max_total_time="$FUZZ_SECONDS" -rss_limit_mb=2048 \
        -print_final_stats=1 -artifact_prefix="$WORK/" "$WORK/corpus" "$ROOT/fuzz/corpus"
    local rc=$?
    for f in "$WORK"/crash-* "$WORK"/leak-* "$WORK"/timeout-* "$WORK"/oom-*; do
        [ -e "$f" ] && cp "$f" "$ROOT/" && echo "artifact kept: $ROOT/$(basename "$f")"
    done
    return $rc
}

echo "robustness: ThreadSanitizer build in $TSAN_DIR, fuzz build in $FUZZ_DIR"
step "build (ThreadSanitizer)" "$WORK/tsan-build.log" configure_tsan
if [ $failed -eq 0 ]; then
    step "concurrency test (ThreadSanitizer)" "$WORK/tsan-run.log" \
        env TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" "$TSAN_DIR/tests/unit/robustness_test" --gtest_filter="Trace/ConcurrencyTest.*"
fi
step "build (clang, AddressSanitizer+UBSan, libFuzzer)" "$WORK/fuzz-build.log" configure_fuzz
if [[ "${RESULTS[-1]}" == PASS* ]]; then
    step "fault sweep (AddressSanitizer+UBSan+LSan)" "$WORK/sweep-run.log" \
        env ASAN_OPTIONS="detect_leaks=1" "$FUZZ_DIR/tests/unit/robustness_test" --gtest_filter="RobustnessTest.*"
    step "fuzzing ${FUZZ_SECONDS} s (AddressSanitizer+UBSan+LSan)" "$WORK/fuzz-run.log" run_fuzz
    grep -E '^(#[0-9]+ +DONE|Done|stat::number_of_executed_units|stat::peak_rss_mb)' \
        "$WORK/fuzz-run.log" 2>/dev/null | sed 's/^/  fuzz: /'
fi

# Logs of failed steps outlive the scratch directory.
if [ $failed -ne 0 ]; then
    mkdir -p "$ROOT/robustness-logs" && cp "$WORK"/*.log "$ROOT/robustness-logs/" 2>/dev/null
fi
echo "robustness results:"
for r in "${RESULTS[@]}"; do echo "  $r"; done
exit $failed
