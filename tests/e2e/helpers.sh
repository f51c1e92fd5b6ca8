# What every case can use.

# device: a recorded device whose clock stands still at 2023-11-14 23:13:20, one hour east of UTC.
device() {
    mkdir -p device
    echo 1700000000 >device/now
    echo 3600 >device/timezone
}

# replay OPTION...: vellum on the recorded device, without the banner, and its exit code.
replay() {
    [ -d device ] || device
    vellum-lab replay device -- "$@" 2>&1 | tail -n +7
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
