# Shared by ./demo and ./check: packages, builds, and what they say. Source it from the top of the tree.
# shellcheck disable=SC2034 # what the lists of packages are for stands in the scripts that source this

readonly build_packages=(build-essential cmake ninja-build libssl-dev libargtable2-dev libinih-dev libtss2-dev
    nlohmann-json3-dev rapidjson-dev libsqlite3-dev)
readonly test_packages=(git libgtest-dev libgmock-dev swtpm swtpm-tools tpm2-tools iproute2 python3 python3-jsonschema)
readonly sanitizer_packages=(clang libclang-rt-dev lld)
readonly analysis_packages=(clang-format clang-tidy cppcheck g++-mingw-w64-x86-64-posix shellcheck)
readonly coverage_packages=(llvm)
readonly distros_packages=(git mmdebstrap util-linux)
readonly packages_packages=(cpio debhelper git kmod lintian mmdebstrap qemu-system-x86 swtpm util-linux)
readonly windows_archive_packages=(binutils-mingw-w64-x86-64 mandoc unzip zip)
readonly pages_packages=(chromium fonts-dejavu-core)
readonly bench_packages=(libbenchmark-dev)
readonly deploy_packages=(ansible-core ansible-lint parallel rsync logrotate systemd iproute2 util-linux swtpm swtpm-tools
    tpm2-tools python3 openssh-client libwrap0)
readonly windows_packages=(build-essential cmake ninja-build nlohmann-json3-dev rapidjson-dev g++-mingw-w64-x86-64-posix wine wine64
    googletest patch tcl)

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# misused TEXT...: the end of a script that was given arguments it does not understand.
misused() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 3
}

# usage_when_asked FIRST_ARGUMENT: the comment at the top of the calling script, when its first argument asks for it.
usage_when_asked() {
    case "${1:-}" in
        -h | --help | help)
            local script=$0
            # By a path from where it was started, which it has left.
            [ -f "$script" ] || script=$OLDPWD/$0
            sed -n '2,/^[^#]/s/^# \{0,1\}//p' "$script"
            exit 0
            ;;
    esac
}

# takes_no_arguments ARGUMENT...: ends a script that was given any but the question for its usage.
takes_no_arguments() {
    usage_when_asked "${1:-}"
    [ $# -eq 0 ] || misused "it takes no arguments"
}

# say TEXT [SECONDS [LOG]]: a line that says what begins, about how long it takes and where its output goes.
say() {
    local line=$1 seconds=${2:-0}
    if [ "$seconds" -ge 90 ]; then
        line+=", about $(((seconds + 30) / 60)) minutes"
    elif [ "$seconds" -ge 45 ]; then
        line+=", about 1 minute"
    elif [ "$seconds" -ge 10 ]; then
        line+=", about $(((seconds + 5) / 10 * 10)) seconds"
    fi
    echo "$line${3:+, log in $3}"
}

# watch_count LOG: shows on the terminal how far the log says that the build or the tests have come, until it is killed
# or the script ends. A build begins its lines with "[3/9]", the tests with " 3/9".
watch_count() {
    local count
    while kill -0 $$ 2>/dev/null; do
        count=$(tail -n 3 "$1" 2>/dev/null | sed -nE 's|^(\[([0-9]+/[0-9]+)\]\| *([0-9]+/[0-9]+) Test ).*|\2\3|p' | tail -n 1)
        printf '\r%s\033[K' "${count:+    $count}"
        sleep 0.2
    done
}

# run_quietly LOG COMMAND...: the command's output goes to the log and is shown only when it fails.
run_quietly() {
    local log=$1 watcher='' status=0
    shift
    mkdir -p "$(dirname "$log")"
    if [ -t 1 ] && [ "${TERM:-dumb}" != dumb ]; then
        : >"$log"
        watch_count "$log" &
        watcher=$!
    fi
    "$@" >"$log" 2>&1 || status=$?
    if [ -n "$watcher" ]; then
        kill "$watcher"
        wait "$watcher" 2>/dev/null || true
        printf '\r\033[K'
    fi
    if [ "$status" -ne 0 ]; then
        tail -n 60 "$log" >&2
    fi
    return "$status"
}

# as_root COMMAND...
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

# download_package PACKAGE: its archive, into this folder. An index may name one that has been superseded.
download_package() {
    apt-get download -q "$1" || { as_root apt-get update -q && apt-get download -q "$1"; }
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
    [ "$(id -u)" -eq 0 ] || command -v sudo >/dev/null ||
        fail "these packages are missing, and installing them needs root or sudo: ${missing[*]}"
    say "Installing ${missing[*]}" 30 build/log/apt-install.log
    # An archive that no package here comes from may be out of reach.
    run_quietly build/log/apt-update.log as_root apt-get update -q ||
        echo "The index of packages is not renewed as a whole; going on with what there is"
    # The system may be at its own updates.
    run_quietly build/log/apt-install.log as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install -q -y --no-install-recommends -o DPkg::Lock::Timeout=300 "${missing[@]}" ||
        fail "apt-get install failed"
}

# configure PRESET TESTS [OPTION...]: with the tests (ON) or without (OFF), unless that has been done to its end. A build
# that was configured with the tests keeps them, and their demand that nothing warns.
configure() {
    local preset=$1 tests=$2
    shift 2
    if [ ! -e "build/$preset/build.ninja" ] || ! grep -qs '^VELLUM_TESTS:BOOL=ON' "build/$preset/CMakeCache.txt" ||
        [ $# -gt 0 ]; then
        run_quietly "build/log/configure-$preset.log" \
            cmake --preset "$preset" -D VELLUM_TESTS="$tests" -D VELLUM_WERROR="$tests" "$@" ||
            fail "cannot configure $preset"
    fi
}

# build PRESET TESTS TARGET...: configures as above and builds.
build() {
    local preset=$1 tests=$2 steps
    shift 2
    configure "$preset" "$tests"
    steps=$(cmake --build --preset "$preset" --target "$@" -- -n 2>/dev/null | grep -c '^\[' || true)
    if [ "$steps" -gt 0 ]; then
        say "Building the $preset programs" $((steps * 12 / 10 / $(nproc))) "build/log/build-$preset.log"
    fi
    run_quietly "build/log/build-$preset.log" cmake --build --preset "$preset" --target "$@" ||
        fail "cannot build $preset"
}

# run_tests PRESET SECONDS: every test program, and about how long that takes.
run_tests() {
    local log=build/log/test-$1.log
    say "Testing the $1 build" "$2" "$log"
    run_quietly "$log" ctest --preset "$1" || fail "tests failed in the $1 build; see $log"
}

# tests_of PRESET: how many test programs ran.
tests_of() {
    sed -n 's/.*out of \([0-9]*\)$/\1/p' "build/log/test-$1.log"
}

# make_root SUITE DIR: a fresh root of that Debian release, made with the machine's own package sources.
make_root() {
    local archive
    archive=$(apt-get indextargets --format '$(ORIGIN) $(REPO_URI)' 'Created-By: Packages' |
        sed -n 's/^Debian //p' | head -n 1)
    [ -n "$archive" ] || fail "no Debian archive among the machine's package sources"
    mmdebstrap --variant=minbase "$1" "$2" "$archive" && cp /etc/resolv.conf "$2/etc/" &&
        { cp -n /etc/apt/apt.conf.d/* "$2/etc/apt/apt.conf.d/" || true; }
}

# inside ROOT COMMAND...: with the kernel's file systems, which go away with the command.
inside() {
    local directory=$1
    shift
    unshare --mount --pid --fork --kill-child bash -c '
        mount -t proc proc "$0/proc" && mount --rbind /dev "$0/dev" && mount -t sysfs -o ro sysfs "$0/sys" &&
            exec chroot "$0" env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 "$@"' "$directory" "$@"
}
