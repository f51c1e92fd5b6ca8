# Shared by ./demo and ./check: packages, builds, and what they say. Source it from the top of the tree.

readonly build_packages=(build-essential cmake ninja-build libssl-dev libargtable2-dev libinih-dev libtss2-dev
    nlohmann-json3-dev)
readonly test_packages=(git libgtest-dev libgmock-dev swtpm swtpm-tools tpm2-tools)
readonly fuzz_packages=(clang libclang-rt-dev)
readonly analysis_packages=(clang clang-tidy cppcheck g++-mingw-w64-x86-64-posix)
readonly coverage_packages=(clang libclang-rt-dev llvm)
readonly bench_packages=(libbenchmark-dev)
readonly windows_packages=(build-essential cmake ninja-build nlohmann-json3-dev g++-mingw-w64-x86-64-posix wine wine64
    googletest patch)

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# run_quietly LOG COMMAND...: the command's output goes to the log and is shown only when it fails.
run_quietly() {
    local log=$1
    shift
    mkdir -p "$(dirname "$log")"
    if ! "$@" >"$log" 2>&1; then
        tail -n 60 "$log" >&2
        return 1
    fi
}

# install_packages PACKAGE...: installs what the machine lacks.
install_packages() {
    local installed missing=() package
    # dpkg-query fails as soon as one of the packages is unknown to it, which is what this looks for.
    installed=$(dpkg-query -W -f '${db:Status-Abbrev}${binary:Package}\n' "$@" 2>/dev/null || true)
    installed=$(sed -n 's/^ii *//p' <<<"$installed" | sed 's/:.*//')
    for package in "$@"; do
        grep -qx "$package" <<<"$installed" || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || fail "these packages are missing, and installing them needs root or sudo: ${missing[*]}"
        as_root=(sudo)
    fi
    echo "Installing ${missing[*]}"
    run_quietly build/log/apt-update.log "${as_root[@]}" apt-get update -q || fail "apt-get update failed"
    run_quietly build/log/apt-install.log "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -q -y --no-install-recommends "${missing[@]}" || fail "apt-get install failed"
}

# configure PRESET TESTS: with the tests (ON) or without (OFF), unless that has been done to its end. A build that was
# configured with the tests keeps them.
configure() {
    local preset=$1 tests=$2
    if [ ! -e "build/$preset/build.ninja" ] || ! grep -qs '^VELLUM_TESTS:BOOL=ON' "build/$preset/CMakeCache.txt"; then
        run_quietly "build/log/configure-$preset.log" cmake --preset "$preset" -D VELLUM_TESTS="$tests" ||
            fail "cannot configure $preset"
    fi
}

# build PRESET TESTS TARGET...: configures as above and builds.
build() {
    local preset=$1 tests=$2
    shift 2
    configure "$preset" "$tests"
    run_quietly "build/log/build-$preset.log" cmake --build --preset "$preset" --target "$@" ||
        fail "cannot build $preset"
}
