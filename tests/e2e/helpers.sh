# What every case can use.

# device: a recorded device whose clock stands still at 2023-11-14 23:13:20, one hour east of UTC.
device() {
    mkdir -p device
    echo 1700000000 >device/now
    echo 3600 >device/timezone
}

# without_banner: what vellum says, which begins with a banner of six lines. What begins otherwise is shown whole.
without_banner() {
    awk 'NR == 1 { banner = /^=+\r?$/ } !banner || NR > 6
        END { if (banner && NR < 6 || NR == 0) print "(it ended in line " NR " of its banner)" }'
}

# replay OPTION...: vellum on the recorded device, without the banner, and its exit code.
replay() {
    [ -d device ] || device
    vellum-lab replay device -- "$@" 2>&1 | without_banner
    echo "exit code ${PIPESTATUS[0]}"
}

# compare OPTION...: a comparison of the two sample boots.
compare() {
    [ -f clean.bin ] || vellum-lab sample-logs .
    replay --compare_log --reference_tpm_log_file=clean.bin "$@"
}

title() {
    printf '\n--- %s\n' "$*"
}

# forge FAULT...: a new sealed device with these faults, which keeps what its firmware is sent.
forge() {
    local made="forged $*" fault faults=()
    if [ ! -d "$made" ]; then
        for fault; do faults+=(--fault "$fault"); done
        rm -rf device
        vellum-lab forge device "${faults[@]}" >/dev/null
        [ ! -d device/firmware ] || mkdir device/firmware/sent
        mv device "$made"
    fi
    rm -rf device
    cp -r "$made" device
}

# answer FILE OFFSET HEX: other bytes in the answer of the device's firmware that lies in FILE.
answer() {
    # shellcheck disable=SC2001 # the shell's own replacement cannot repeat what it found
    printf '%b' "$(sed 's/../\\x&/g' <<<"$3")" | dd of="device/firmware/$1" bs=1 seek="$2" conv=notrunc status=none
}

# sent: each request that reached the firmware: size, command, and the byte after the header if there is one.
sent() {
    local file
    printf 'sent:'
    for file in device/firmware/sent/*.bin; do
        [ ! -f "$file" ] || printf ' %s(%d:%s%s)' "$(basename "$file")" "$(stat -c %s "$file")" \
            "$(od -An -tx1 -j4 -N1 "$file")" "$(od -An -tx1 -j12 -N1 "$file")"
    done
    echo
}

# unseal OPTION...: what unsealing says, and what it sends.
unseal() {
    replay --unseal -c device/kxl.ini "$@"
    sent
}
