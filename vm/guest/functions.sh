# What the jobs of the guest share. A job sources it from /lib/functions.sh.

# start_firmware FOLDER [OPTION...]: the firmware device, whose process is $firmware then; it ends with stop_firmware.
start_firmware() {
    firmware_device "$@" &
    firmware=$!
    until [ -c /dev/peli0 ]; do
        kill -0 "$firmware" || return 1
        sleep 0.05
    done
}

stop_firmware() {
    kill "$firmware" 2>/dev/null
    wait "$firmware"
    while [ -e /dev/peli0 ]; do
        sleep 0.05
    done
}

# The PCRs as another program reads them.
read_pcrs() {
    tpm2_pcrread -T device:/dev/tpmrm0 sha256
}

# words SIZE NUMBER...: the numbers as bytes, little-endian, SIZE of them each.
words() {
    size=$1
    shift
    for number; do
        for byte in $(seq "$size"); do
            # shellcheck disable=SC2059 # an octal escape
            printf "\\$(printf %o $((number >> (8 * (byte - 1)) & 255)))"
        done
    done
}

# overwrite FILE OFFSET: with the bytes of the standard input.
overwrite() {
    dd of="$1" bs=1 seek="$2" conv=notrunc 2>/dev/null
}

# prepare_unsealing FOLDER: has the firmware in it answer, once it was unsealed, that the feature is inactive and the seal
# disabled, with a record of that in its log.
prepare_unsealing() {
    mkdir "$1/after_deactivation"
    state=$1/after_deactivation/feature_get_state.bin
    cp "$1/feature_get_state.bin" "$state"
    records=$(($(stat -c %s "$state") - 1204))
    words 4 0 | overwrite "$state" 16                                       # the feature
    words 4 0 | overwrite "$state" 22                                       # the seal
    words 2 $((records + 164)) | overwrite "$state" 1202                    # bytes of the log
    words 4 $((1204 - 16 + records + 164)) | overwrite "$state" 8           # bytes behind the head
    { words 4 4 "$(date +%s)" 1 && head -c 152 /dev/zero; } >>"$state" # disabled in post boot, attested
}

live_log=/sys/kernel/security/tpm0/binary_bios_measurements

# log_with_locality LOCALITY: the log, which tells behind its head where the TPM was started from.
log_with_locality() {
    head=$((32 + $(od -An -tu4 -j28 -N4 "$live_log")))
    head -c "$head" "$live_log"
    words 4 0 3 4 # PCR 0, EV_NO_ACTION, four banks
    for bank in 4:20 11:32 12:48 13:64; do
        words 2 "${bank%:*}"
        head -c "${bank#*:}" /dev/zero
    done
    words 4 17
    printf 'StartupLocality\0'
    words 1 "$1"
    tail -c +$((head + 1)) "$live_log"
}

# tell_locality LOCALITY: has the kernel hand over such a log; this firmware's log does not tell.
tell_locality() {
    log_with_locality "$1" >/tmp/live_log
    mount -o bind /tmp/live_log "$live_log"
}

conceal_locality() {
    umount "$live_log"
}
