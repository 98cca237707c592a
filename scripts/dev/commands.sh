# The commands behind ./dev.

dev_help() {
    cat <<'TEXT'
./dev run [FOLDER...]   install what is missing, build, open the folders, show the rolls
./dev test              the same set-up, then every test
./dev build [PRESET]    build a preset (dev, release, bench, asan, tsan, fuzz); release by default
./dev bench [REGEX]     run the benchmarks
./dev fuzz [SECONDS]    run every fuzz target that long (60 by default)
./dev format            format the sources
./dev lint              the house rules, then clang-tidy
./dev asan | tsan       the tests under a sanitizer
TEXT
}

configure_and_build() {
    local preset=$1
    shift
    cmake --preset "$preset" >/dev/null
    cmake --build "build/$preset" -- "$@"
}

dev_build() {
    install_packages "${packages[@]}"
    local preset=${1:-release}
    case "$preset" in release) ;; *) install_packages "${test_packages[@]}" ;; esac
    case "$preset" in fuzz) install_packages clang libclang-rt-14-dev ;; esac
    fetch_inference_runtime
    configure_and_build "$preset"
}

dev_test() {
    install_packages "${packages[@]}" "${test_packages[@]}"
    fetch_inference_runtime
    python3 scripts/lint_house.py
    configure_and_build dev --quiet
    ctest --test-dir build/dev --output-on-failure "$@"
}

dev_sanitize() {
    install_packages "${packages[@]}" "${test_packages[@]}"
    fetch_inference_runtime
    configure_and_build "$1" --quiet
    LSAN_OPTIONS="suppressions=$PWD/scripts/leaks.supp" ctest --test-dir "build/$1" --output-on-failure
}

dev_bench() {
    dev_build bench
    local program
    for program in build/bench/bin/*_benchmark; do
        "$program" ${1:+--benchmark_filter="$1"}
    done
}

dev_fuzz() {
    dev_build fuzz
    local program
    for program in build/fuzz/bin/fuzz_*; do
        echo "== ${program##*/}"
        # What a run finds stays in the first folder; the second holds the seeds.
        local found="build/fuzz/corpus/${program##*/fuzz_}"
        mkdir -p "$found"
        "$program" -max_total_time="${1:-60}" -rss_limit_mb=2048 -timeout=20 -print_final_stats=0 \
            -artifact_prefix=build/fuzz/ "$found" "fuzz/corpus/${program##*/fuzz_}"
    done
}

dev_format() {
    install_packages clang-format
    git ls-files '*.h' '*.cpp' | xargs clang-format -i
}

dev_lint() {
    install_packages clang-tidy
    python3 scripts/lint_house.py
    cmake --preset dev >/dev/null
    git ls-files 'src/*.cpp' 'apps/*.cpp' | xargs -P "$(nproc)" -n 4 clang-tidy -p build/dev --quiet
}

dev_run() {
    dev_build release
    local program=build/release/bin/kelvaris-cli
    if [ $# -eq 0 ]; then
        local sample=${XDG_CACHE_HOME:-$HOME/.cache}/kelvaris-sample/2026-03-kyoto
        [ -d "$sample" ] || build/release/bin/kelvaris-sample-roll "$sample"
        echo "The sample roll is in $sample"
        set -- "$sample"
    fi
    "$program" open "$@"
    "$program" rolls
}
