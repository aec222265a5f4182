#!/usr/bin/env bash
# Builds the fuzzers with clang and runs each: once over the inputs that crashed it before, then for FUZZ_SECONDS
# (30) on a scratch copy of its seed corpus, FUZZ_JOBS (2) at a time. Fails on any crash, leak, OOM or timeout.
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${FUZZ_SECONDS:-30}
parallel=${FUZZ_JOBS:-2}

launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
CC=clang-14 CXX=clang++-14 cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DSCRIVLET_FUZZ=ON -DBUILD_TESTING=OFF "${launcher[@]}"
cmake --build build-fuzz --target fuzzers

export ASAN_OPTIONS="detect_leaks=1"
export LSAN_OPTIONS="suppressions=$PWD/tests/lsan.supp:print_suppressions=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export QT_QPA_PLATFORM=offscreen DBUS_SESSION_BUS_ADDRESS=disabled: OMP_THREAD_LIMIT=1
[[ -x /usr/lib/llvm-14/bin/llvm-symbolizer ]] && export ASAN_SYMBOLIZER_PATH=/usr/lib/llvm-14/bin/llvm-symbolizer

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
artifacts=$PWD/build-fuzz/artifacts
rm -rf "$artifacts"
shopt -s nullglob

# Output goes to $scratch/NAME.log; a failure leaves $scratch/NAME.failed, naming the input.
run() {
    local name=$1 fuzzer=build-fuzz/fuzz/$1_fuzzer log=$scratch/$1.log
    local options=(-artifact_prefix="$artifacts/$name/" -timeout=25 -print_final_stats=1)
    local regressions=(fuzz/regressions/"$name"/*)
    mkdir -p "$artifacts/$name" "$scratch/$name"
    if ((${#regressions[@]})) && ! "$fuzzer" "${options[@]}" "${regressions[@]}" >"$log" 2>&1; then
        sed -n 's/^Running: /on /p' "$log" | tail -1 >"$scratch/$name.failed"
        return
    fi
    [[ -d fuzz/corpus/$name ]] && cp -R "fuzz/corpus/$name/." "$scratch/$name/"
    if ! "$fuzzer" "${options[@]}" -max_total_time="$seconds" "$scratch/$name" >>"$log" 2>&1; then
        echo "input saved in:" "$artifacts/$name"/* >"$scratch/$name.failed"
    fi
}

mapfile -t names <build-fuzz/fuzz/fuzzers.txt
for name in "${names[@]}"; do
    while (($(jobs -rp | wc -l) >= parallel)); do wait -n; done
    run "$name" &
done
wait

status=0
for name in "${names[@]}"; do
    if [[ -e $scratch/$name.failed ]]; then
        cat "$scratch/$name.log"
        echo "fuzz: $name FAILED, $(cat "$scratch/$name.failed")"
        status=1
    else
        runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$scratch/$name.log" | tail -1)
        rss=$(sed -n 's/^stat::peak_rss_mb: *//p' "$scratch/$name.log" | tail -1)
        echo "fuzz: $name passed: $runs runs, peak RSS $rss MB"
    fi
done
exit "$status"
