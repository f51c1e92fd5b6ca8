#!/usr/bin/env bash
# emulator_test.sh TEST_PROGRAM: runs the test that needs a TPM against swtpm, and stops swtpm again whatever happens.
# Ends with 77, the code for skipped, on a machine without swtpm.
set -euo pipefail

program=$1
if ! command -v swtpm >/dev/null; then
    echo "skipped: swtpm is not installed"
    exit 77
fi

state=$(mktemp -d)
emulator=
stop() {
    if [ -n "$emulator" ]; then
        kill "$emulator" 2>/dev/null || true
        wait "$emulator" 2>/dev/null || true
    fi
    rm -rf "$state"
}
trap stop EXIT
trap 'exit 1' INT TERM

# listening PORT: whether something accepts connections there.
listening() {
    (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null
}

# start PORT: commands on the port, control on the next one, which is where the test looks for it.
start() {
    swtpm socket --tpm2 --tpmstate dir="$state" --flags not-need-init,startup-clear \
        --server type=tcp,port="$1" --ctrl type=tcp,port="$(($1 + 1))" >"$state/log" 2>&1 &
    emulator=$!
    local tries
    for tries in $(seq 50); do
        kill -0 "$emulator" 2>/dev/null || return 1
        if listening "$(($1 + 1))"; then
            return 0
        fi
        sleep 0.1
    done
    return 1
}

for _ in 1 2 3 4 5; do
    port=$((20000 + RANDOM % 20000))
    if ! listening "$port" && ! listening "$((port + 1))" && start "$port"; then
        VELLUM_TEST_TCTI="swtpm:host=127.0.0.1,port=$port" timeout 60 "$program" --gtest_filter='Emulator.*'
        exit
    fi
    cat "$state/log" 2>/dev/null || true
done
echo "swtpm cannot be started" >&2
exit 1
