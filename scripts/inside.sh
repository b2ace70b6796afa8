#!/usr/bin/env bash
# The part of ./dev that runs inside the build root: configure, build, test, run.
set -uo pipefail

repo=${LUMARO_REPO:?}
export LUMARO_BUILD_PREFIX=${LUMARO_BUILD_TAG:+$LUMARO_BUILD_TAG-}
export WINEPREFIX=/opt/lumaro-wineprefix
export WINEDEBUG=-all
cd "$repo"

preset_of() {
    case "${1:-}" in
        native|"") echo native ;;
        tsan)      echo native-tsan ;;
        release)   echo native-release ;;
        mingw)     echo mingw ;;
        *) echo "dev: unknown configuration '$1' (native, tsan, release, mingw)" >&2; return 2 ;;
    esac
}

build_dir_of() { echo "$repo/build/${LUMARO_BUILD_PREFIX}$1"; }

configure() {
    local preset=$1
    local dir; dir=$(build_dir_of "$preset")
    mkdir -p "$repo/build"
    if [ ! -f "$dir/build.ninja" ] || [ "$repo/CMakePresets.json" -nt "$dir/CMakeCache.txt" ]; then
        cmake --preset "$preset" >"$repo/build/${LUMARO_BUILD_PREFIX}$preset.configure.log" 2>&1 \
            || { cat "$repo/build/${LUMARO_BUILD_PREFIX}$preset.configure.log" >&2; return 1; }
    fi
}

configure_and_build() {
    local preset=$1; shift
    configure "$preset" || return 1
    cmake --build "$(build_dir_of "$preset")" ${1:+--target "$@"}
}

# ./dev fuzz [--seconds N] [TARGET...]: each named fuzzer (all by default) for N seconds from its
# seeds and the corpus it grew before (build/fuzz/NAME/corpus). Any crash, leak, hang or sanitizer
# report fails the run and leaves the reproducer in build/fuzz/.
fuzz() {
    local seconds=60 targets=() known=() line
    while [ $# -gt 0 ]; do
        case "$1" in
            --seconds) seconds=${2:?"dev fuzz --seconds N"}; shift 2 ;;
            --seconds=*) seconds=${1#*=}; shift ;;
            -*) echo "dev: unknown fuzz option '$1' (--seconds N)" >&2; return 2 ;;
            *) targets+=("$1"); shift ;;
        esac
    done
    [[ "$seconds" =~ ^[1-9][0-9]*$ ]] || { echo "dev: --seconds takes a whole number above 0, not '$seconds'" >&2; return 2; }
    configure native || return 1
    local dir; dir=$(build_dir_of native)
    # Regenerates the build (and the list) when a CMakeLists.txt changed since.
    cmake --build "$dir" --target build.ninja >/dev/null || return 1
    # The fuzzers' list is written when the build is generated: name, program, seed list.
    local list="$dir/fuzzers.txt"
    [ -s "$list" ] || { echo "dev: no fuzzers in $list (a Clang build with LUMARO_BUILD_FUZZERS)" >&2; return 1; }
    while IFS=$'\t' read -r name _ _; do known+=("$name"); done <"$list"
    [ ${#targets[@]} -gt 0 ] || targets=("${known[@]}")
    local target
    for target in "${targets[@]}"; do
        grep -q "^$target"$'\t' "$list" || { echo "dev: no fuzzer '$target' (there are: ${known[*]})" >&2; return 2; }
    done
    cmake --build "$dir" --target "${targets[@]}" || return 1

    local out="$repo/build/${LUMARO_BUILD_PREFIX}fuzz" failed=() program seeds runs
    mkdir -p "$out"
    for target in "${targets[@]}"; do
        IFS=$'\t' read -r _ program seeds < <(grep "^$target"$'\t' "$list")
        mkdir -p "$out/$target/corpus"
        echo "fuzz: $target for $seconds s (log: $out/$target.log)"
        if "$program" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
                -artifact_prefix="$out/$target-" -seed_inputs=@"$seeds" "$out/$target/corpus" >"$out/$target.log" 2>&1; then
            runs=$(grep -o 'stat::number_of_executed_units: [0-9]*' "$out/$target.log" | grep -o '[0-9]*$')
            echo "fuzz: $target: ${runs:-?} runs, corpus of $(find "$out/$target/corpus" -type f | wc -l) inputs, nothing found"
        else
            failed+=("$target")
            grep -E '^(==[0-9]+==ERROR|SUMMARY|.*Test unit written to)' "$out/$target.log" | sed "s/^/fuzz: $target: /"
            echo "fuzz: $target FAILED; reproduce with: ./dev native-run $target <the file named above>"
        fi
    done
    [ ${#failed[@]} -eq 0 ] || { echo "fuzz: findings in ${failed[*]}" >&2; return 1; }
}

# Wine needs an X display and a running wineserver before the first test starts: if a test
# started them, they would inherit ctest's output pipe and ctest would wait for them forever.
wine_pids=()
wine_start() {
    local display_file; display_file=$(mktemp)
    Xvfb -displayfd 3 -screen 0 1280x1024x24 -nolisten tcp 3>"$display_file" </dev/null >/dev/null 2>&1 &
    wine_pids+=($!)
    local tries=0
    while [ ! -s "$display_file" ] && [ $tries -lt 100 ]; do sleep 0.1; tries=$((tries + 1)); done
    [ -s "$display_file" ] || { echo "dev: Xvfb did not start" >&2; return 1; }
    export DISPLAY=":$(head -1 "$display_file")"
    rm -f "$display_file"
    wineserver -p </dev/null >/dev/null 2>&1
    wine wineboot -i </dev/null >/dev/null 2>&1
}

wine_stop() {
    wineserver -k </dev/null >/dev/null 2>&1 || true
    local pid
    for pid in "${wine_pids[@]}"; do kill "$pid" 2>/dev/null; wait "$pid" 2>/dev/null; done
    wine_pids=()
}

# One Wine session at a time per prefix: concurrent runs share it and wineserver -k would end both.
with_wine() {
    exec 8>/var/lock/lumaro-wine.lock
    flock 8
    local status=1
    if wine_start; then
        "$@"
        status=$?
    fi
    wine_stop
    flock -u 8
    return $status
}

run_ctest() {
    local preset=$1; shift
    local dir; dir=$(build_dir_of "$preset")
    [ -f "$dir/CTestTestfile.cmake" ] || { echo "dev: $preset is not built yet (./dev build ${preset})" >&2; return 1; }
    if [ "$preset" = mingw ]; then
        with_wine ctest --test-dir "$dir" --output-on-failure --no-tests=error --timeout 300 "$@"
    else
        ctest --test-dir "$dir" --output-on-failure --no-tests=error --timeout 300 "$@"
    fi
}

summary_line() {
    # The closing line of a ctest log: "100% tests passed, 0 tests failed out of 42".
    grep -E 'tests passed, [0-9]+ tests? failed out of [0-9]+' "$1" | tail -1
}

test_all() {
    local logs="$repo/build/${LUMARO_BUILD_PREFIX}logs"
    mkdir -p "$logs"
    local native_status=0 tsan_status=0 mingw_status=0
    local tsan_tests="Stress|PointCloudWalk|RestartOrNot|PointCloudSharing|BackgroundThread|TripleBuffer|Concurrent|PanoLoading|IndexRealFile|Index\\.Stops|LoaderThreads|NodeCacheLimit|TaskPool|CacheMemory"
    local started=$SECONDS

    echo "=== native build (ASan + UBSan) ==="
    if configure_and_build native; then
        echo "=== native tests ==="
        run_ctest native -j2 2>&1 | tee "$logs/native.log"
        native_status=${PIPESTATUS[0]}
    else
        native_status=1
        echo "native build failed" >"$logs/native.log"
    fi

    # The loading threads and the indexer's workers again under ThreadSanitizer: the tests that run them.
    echo "=== ThreadSanitizer build and tests of the loading threads ==="
    if configure_and_build native-tsan lumaro_render_tests lumaro_core_tests lumaro_indexer_tests; then
        run_ctest native-tsan -j2 -R "$tsan_tests" 2>&1 | tee "$logs/tsan.log"
        tsan_status=${PIPESTATUS[0]}
    else
        tsan_status=1
        echo "ThreadSanitizer build failed" >"$logs/tsan.log"
    fi

    echo "=== Windows build (MinGW) ==="
    if configure_and_build mingw; then
        echo "=== Windows tests under Wine ==="
        run_ctest mingw -j2 2>&1 | tee "$logs/mingw.log"
        mingw_status=${PIPESTATUS[0]}
    else
        mingw_status=1
        echo "Windows build failed" >"$logs/mingw.log"
    fi

    echo "=== lint ==="
    local lint_status=0 docs_status=0
    lint 2>&1 | tee "$logs/lint.log"
    lint_status=${PIPESTATUS[0]}
    echo "=== API reference ==="
    docs 2>&1 | tee "$logs/docs.log"
    docs_status=${PIPESTATUS[0]}

    echo
    echo "=== summary ($((SECONDS - started)) s) ==="
    local passed=0 failed=0 line p t
    for config in native tsan mingw; do
        line=$(summary_line "$logs/$config.log")
        echo "$config: ${line:-$(tail -1 "$logs/$config.log")}"
        if [ -n "$line" ]; then
            t=$(sed -E 's/.*out of ([0-9]+).*/\1/' <<<"$line")
            p=$(sed -E 's/.* ([0-9]+) tests? failed.*/\1/' <<<"$line")
            passed=$((passed + t - p)); failed=$((failed + p))
        else
            failed=$((failed + 1))
        fi
    done
    echo "lint: $(tail -1 "$logs/lint.log")"
    echo "docs: $(tail -1 "$logs/docs.log")"
    echo "total: $passed passed, $failed failed"
    [ $native_status = 0 ] && [ $tsan_status = 0 ] && [ $mingw_status = 0 ] && [ $failed = 0 ] \
        && [ $lint_status = 0 ] && [ $docs_status = 0 ]
}

# The API reference of the headers a host includes; a warning about them fails.
docs() {
    mkdir -p "$repo/build/docs"
    (cd "$repo" && LUMARO_VERSION=$(sed -n 's/^project(LumaroRender VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt) \
        doxygen docs/Doxyfile) >"$repo/build/docs/doxygen.log" 2>&1
    local status=$?
    if [ -s "$repo/build/docs/warnings.log" ] || [ $status != 0 ]; then
        cat "$repo/build/docs/warnings.log" >&2
        echo "docs: doxygen failed or warned (log: build/docs/doxygen.log)" >&2
        return 1
    fi
    echo "docs: wrote $repo/build/docs/html/index.html"
}

# The one style, kept by tools: clang-format over every C++ file of ours, and clang-tidy (the
# checks of .clang-tidy) over every translation unit of the native build.
lint_sources() {
    find "$repo" \( -path "$repo/build" -o -path "$repo/testdata" -o -path "$repo/.git" -o -name node_modules \) -prune \
        -o \( -name '*.cpp' -o -name '*.h' \) -type f -print | sort
}

lint() {
    local status=0
    echo "=== clang-format ==="
    if ! lint_sources | xargs clang-format --dry-run --Werror 2>"$repo/build/${LUMARO_BUILD_PREFIX}lint-format.log"; then
        head -40 "$repo/build/${LUMARO_BUILD_PREFIX}lint-format.log" >&2
        echo "lint: files differ from .clang-format (clang-format -i fixes them)" >&2
        status=1
    fi
    echo "=== clang-tidy ==="
    configure_and_build native >/dev/null || return 1
    # Each source of the libraries, tools and test support once (the fuzzers and the size-limit
    # tests compile some of them again), with the flags of the native build; the headers they
    # include are checked with them.
    local lint_db="$repo/build/${LUMARO_BUILD_PREFIX}lint"
    mkdir -p "$lint_db"
    python3 - "$(build_dir_of native)/compile_commands.json" "$lint_db/compile_commands.json" <<'PY'
import json, sys
seen, kept = set(), []
for entry in json.load(open(sys.argv[1])):
    path = entry["file"]
    if path in seen or any(part in path for part in ("/tests/", "/fuzz/", "/hostile/", "/build/")):
        continue
    seen.add(path)
    kept.append(entry)
json.dump(kept, open(sys.argv[2], "w"))
PY
    if ! run-clang-tidy -p "$lint_db" -j "$(nproc)" -quiet >"$repo/build/${LUMARO_BUILD_PREFIX}lint-tidy.log" 2>&1; then
        grep -E "(warning|error):" "$repo/build/${LUMARO_BUILD_PREFIX}lint-tidy.log" | sort -u | head -60 >&2
        echo "lint: clang-tidy found the above (log: build/${LUMARO_BUILD_PREFIX}lint-tidy.log)" >&2
        status=1
    fi
    [ $status = 0 ] && echo "lint: clean"
    return $status
}

command=${1:?}; shift
case "$command" in
    test)  test_all ;;
    build) preset=$(preset_of "${1:-}") || exit 2; shift || true; configure_and_build "$preset" "$@" ;;
    ctest) preset=$(preset_of "${1:-}") || exit 2; shift || true; run_ctest "$preset" "$@" ;;
    run)
        program=${1:?"dev run PROGRAM ARGS..."}; shift
        dir=$(build_dir_of mingw)
        exe=$(find "$dir" -name "$program.exe" -type f 2>/dev/null | head -1)
        [ -n "$exe" ] || { echo "dev: no $program.exe in $dir (./dev build mingw $program)" >&2; exit 2; }
        with_wine wine "$exe" "$@" ;;
    native-run)
        program=${1:?"dev native-run PROGRAM ARGS..."}; shift
        dir=$(build_dir_of native)
        exe=$(find "$dir" -name "$program" -type f -perm -u+x 2>/dev/null | head -1)
        [ -n "$exe" ] || { echo "dev: no $program in $dir (./dev build native $program)" >&2; exit 2; }
        "$exe" "$@" ;;
    demo)
        # A real store from the test data, seen from above and at an angle, in three colourings.
        configure_and_build mingw lumaro || exit 1
        output="$repo/build/demo/lumaro-demo.png"
        mkdir -p "$(dirname "$output")"
        with_wine wine "$(build_dir_of mingw)/bin/lumaro.exe" render "$repo/testdata/potree2/autzen_trim-brotli" \
            --view top,oblique --mode rgb,intensity,elevation --size 640x400 --background 101418 \
            --output "$output" >/dev/null || exit 1
        echo "demo: wrote $output (rows: top and oblique view; columns: colour, intensity, elevation)" ;;
    bench)
        # The device-independent benchmarks natively, then those that need a device under Wine. A
        # filter that matches nothing in one of the two programs is no error.
        configure_and_build native-release lumaro_bench || exit 1
        # The remote-store benchmarks read the test data from a web server of their own.
        web_state="$(build_dir_of native-release)/web-server"
        "$repo/scripts/web-server.sh" start "$web_state" "$repo/testdata" || exit 1
        LUMARO_WEB_SERVER="$web_state/server.json" "$(build_dir_of native-release)/bin/lumaro_bench" \
            ${1:+--benchmark_filter="$1"} || { "$repo/scripts/web-server.sh" stop "$web_state"; [ -n "${1:-}" ] || exit 1; }
        "$repo/scripts/web-server.sh" stop "$web_state"
        configure_and_build mingw lumaro_gpu_bench || exit 1
        with_wine wine "$(build_dir_of mingw)/bin/lumaro_gpu_bench.exe" ${1:+--benchmark_filter="$1"} \
            || [ -n "${1:-}" ] || exit 1 ;;
    sdk)
        # The package a Windows application builds against: build/sdk/LumaroRender and its zip.
        configure_and_build mingw LumaroRender lumaro lumaro-view || exit 1
        dir=$(build_dir_of mingw)
        version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$dir/CMakeCache.txt")
        sdk="$repo/build/sdk"
        rm -rf "$sdk/LumaroRender" "$sdk"/LumaroRender-*-win64.zip
        mkdir -p "$sdk"
        cmake --install "$dir" --prefix "$sdk/LumaroRender" >/dev/null || exit 1
        (cd "$sdk" && cmake -E tar cf "LumaroRender-$version-win64.zip" --format=zip LumaroRender) || exit 1
        echo "sdk: wrote $sdk/LumaroRender and $sdk/LumaroRender-$version-win64.zip" ;;
    docs)  docs ;;
    fuzz)  fuzz "$@" ;;
    lint)  lint ;;
    mutants)
        # Deliberate faults, one at a time, against the tests that must catch them; Windows faults
        # run their tests under Wine.
        if grep -q 'check: mingw' "$repo/scripts/mutants.txt"; then
            with_wine python3 "$repo/scripts/mutants.py" "$@"
        else
            python3 "$repo/scripts/mutants.py" "$@"
        fi ;;
    *) echo "dev: unknown command '$command'" >&2; exit 2 ;;
esac
