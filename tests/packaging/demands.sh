# Shared by the scripts that run in a root of their own; demands that were not met are in "failed".
# shellcheck shell=bash disable=SC2034 # "failed" is for who sources this
failed=0

# demand WHAT COMMAND...: the command succeeds.
demand() {
    local what=$1
    shift
    if ! "$@" >/tmp/said 2>&1; then
        printf 'FAILED: %s\n' "$what" >&2
        tail -n 20 /tmp/said >&2
        failed=1
    fi
}

# says PATTERN COMMAND...: what it prints has the pattern, whatever its exit code.
says() {
    local pattern=$1
    shift
    "$@" >/tmp/heard 2>&1
    grep -qE -- "$pattern" /tmp/heard
}
