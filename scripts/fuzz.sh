#!/usr/bin/env bash
# Runs fuzz targets, each for a time, and says what came out. Usage: fuzz.sh BUILD_FOLDER SECONDS [TARGET...]
#
# Inputs that fail are kept in BUILD_FOLDER/findings, with the log of the run beside them; inputs that reach new code in
# BUILD_FOLDER/corpus, where the next run takes them up. Exit status 1 when anything was found.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "$1" && pwd)
seconds=$2
shift 2
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(metadata pixels tables overlays medium write anonymize guard tether call jpeg2000)

# The files of an input are written thousands of times a second.
memory=$(mktemp -d /dev/shm/radvex-fuzz-XXXXXX 2>/dev/null || mktemp -d)
trap 'rm -rf "$memory"' EXIT
export TMPDIR=$memory
# DCMTK frees the bytes of an overlay, made by new[], with delete: harmless, and on every file with one.
export ASAN_OPTIONS=alloc_dealloc_mismatch=0:${ASAN_OPTIONS:-}
export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1:${UBSAN_OPTIONS:-}
export LSAN_OPTIONS=suppressions=$here/../fuzz/leaks.txt:print_suppressions=0

mkdir -p "$build/findings" "$build/seeds"
"$build/fuzz/writeSeeds" "$build/seeds"
# Small public samples beside what we generate: 8 bytes of choices, then the file.
if samples=$("$here/samples.sh" 2>/dev/null); then
    find "$samples" -type f -size -32k -name '*.dcm' | while read -r sample; do
        for target in metadata pixels tables overlays anonymize guard; do
            { head -c 8 /dev/zero; cat "$sample"; } > "$build/seeds/$target/sample-$(basename "$sample")"
        done
    done
fi

# HTJ2K, which OpenJPEG decodes and does not encode: 8 bytes of choices, then the codestream.
if command -v ojph_compress >/dev/null; then
    for side in 1 8 33; do
        for way in '-reversible true' '-reversible false -qstep 0.01' '-reversible true -block_size {4,4}'; do
            { printf 'P5 %d %d 255\n' $side $side; head -c $((side * side)) /dev/urandom; } >"$memory/seed.pgm"
            # shellcheck disable=SC2086 # options and their values
            ojph_compress -i "$memory/seed.pgm" -o "$memory/seed.j2c" $way >/dev/null || continue
            { head -c 8 /dev/zero; cat "$memory/seed.j2c"; } >"$build/seeds/jpeg2000/ht-$side-${way//[^a-z0-9]/}"
        done
    done
fi

# Sets `spent` to the processor seconds of all children so far; `times` in a subshell would know of none.
look_at_times() {
    times >"$memory/times"
    spent=$(tail -n 1 "$memory/times" | tr -d s | awk -F'[m ]' '{ printf "%d", 60 * $1 + $2 + 60 * $3 + $4 }')
}

total=0
for target in "${targets[@]}"; do
    corpus=$build/corpus/$target
    mkdir -p "$corpus"
    runs=0
    found=0
    look_at_times
    before=$spent
    end=$((SECONDS + seconds))
    # A finding ends libFuzzer; it is started again for the time that is left.
    while [ $SECONDS -lt $end ]; do
        log=$memory/log
        status=0
        # 256 MiB may be promised by a header and be zero; some of it is converted to four times as much.
        "$build/fuzz/fuzz-$target" -max_total_time=$((end - SECONDS)) -timeout=30 -rss_limit_mb=3072 \
            -malloc_limit_mb=1100 -max_len=16384 -dict="$build/seeds/dictionary.txt" -print_final_stats=1 \
            -close_fd_mask=1 -artifact_prefix="$build/findings/$target-" "$corpus" "$build/seeds/$target" \
            >"$log" 2>&1 || status=$?
        executed=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -n 1)
        runs=$((runs + ${executed:-0}))
        [ $status -eq 0 ] && break
        found=$((found + 1))
        cp "$log" "$build/findings/$target-$found-$(date +%H%M%S).log"
    done
    coverage=$(grep -oE 'cov: [0-9]+ ft: [0-9]+' "$log" | tail -n 1)
    look_at_times
    printf '%-10s %9d executions in %d s, %d s of processor time, %s, findings: %d\n' \
        "$target" "$runs" "$seconds" "$((spent - before))" "$coverage" "$found"
    total=$((total + found))
done
[ $total -eq 0 ] || { echo "Findings are in $build/findings." >&2; exit 1; }
