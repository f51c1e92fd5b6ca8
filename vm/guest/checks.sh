# What the guest does to itself, and what vellum then says. Each function is a check; scripts/check-vm has the list of
# those that a boot makes, and what has to come of each.

sealed=/run/job/in/sealed
results=/run/job/out

# say_of CHECK COMMAND...: its output and exit code, from within the sealed device.
say_of() {
    name=$1
    shift
    (cd "$sealed" && "$@") >"$results/$name.report" 2>&1
    echo $? >"$results/$name.code"
}

# validate CHECK [OPTION...]: a validation, its log file in memory.
validate() {
    name=$1
    shift
    say_of "$name" vellum --validate -c kxl.ini -o "/tmp/$name.log" "$@"
}

# with_firmware CHECK FIRMWARE_OPTION...: a validation with a firmware that misbehaves.
with_firmware() {
    name=$1
    shift
    start_firmware "$sealed/firmware" "$@"
    validate "$name"
    stop_firmware
}

# with_good_firmware COMMAND...
with_good_firmware() {
    start_firmware "$sealed/firmware"
    "$@"
    stop_firmware
}

plain() {
    with_good_firmware validate plain
}

captured() {
    with_good_firmware say_of captured vellum-report capture "$results/capture" --config kxl.ini --file 'E:\bom\system.bom'
}

unsealed() {
    mkdir "$sealed/firmware/sent"
    with_good_firmware say_of unsealed vellum --unseal --reason=0 -o /tmp/unsealed.log
    mv "$sealed/firmware/sent" "$results/sent"
}

# The firmware that is played keeps its answers, so that nothing else may have changed.
after_unsealing() {
    with_good_firmware validate after_unsealing
}

same_boot() {
    say_of same_boot vellum --compare_log -o /tmp/same_boot.log \
        --reference_tpm_log_file=/sys/kernel/security/tpm0/binary_bios_measurements
}

# A boot of the machine as it left the factory; what it measured came with the job.
sealed_boot() {
    say_of sealed_boot vellum --compare_log -o /tmp/sealed_boot.log --reference_tpm_log_file=../sealed_boot.bin
}

unsealed_boot() {
    say_of unsealed_boot vellum --compare_log -o /tmp/unsealed_boot.log --reference_tpm_log_file=../unsealed_boot.bin
}

# The log of a boot in which nothing was sealed.
other_log() {
    with_good_firmware validate other_log --tpm_event_log_file=../unsealed_boot.bin
}

bom_changed() {
    mount -o remount,rw /data
    cp /data/bom/system.bom /tmp/system.bom
    echo 'disk;another' >>/data/bom/system.bom
    with_good_firmware validate bom_changed
    cp /tmp/system.bom /data/bom/system.bom
    mount -o remount,ro /data
}

bom_removed() {
    mount -o remount,rw /data
    mv /data/bom/system.bom /data/bom/other.bom
    with_good_firmware validate bom_removed
    mv /data/bom/other.bom /data/bom/system.bom
    mount -o remount,ro /data
}

volume_unmounted() {
    volume=$(findfs LABEL=VELLUM_DATA)
    umount /data
    with_good_firmware validate volume_unmounted
    mount -t vfat -o ro "$volume" /data
}

no_firmware() {
    validate no_firmware
}

firmware_never() {
    with_firmware firmware_never --never
}

firmware_late() {
    with_firmware firmware_late --late 700
}

firmware_short() {
    with_firmware firmware_short --short 17
}

firmware_gone() {
    with_firmware firmware_gone --leave-after 2
}

# The log file is opened, and takes a few lines and then no more.
full_disk() {
    mkdir /tmp/full
    mount -t tmpfs -o size=8k full /tmp/full
    head -c 4096 /dev/zero >/tmp/full/filling
    start_firmware "$sealed/firmware"
    say_of full_disk vellum --validate -c kxl.ini -o /tmp/full/kxl.log
    stop_firmware
    umount /tmp/full
}

no_resource_manager() {
    mv /dev/tpmrm0 /dev/tpmrm0.away
    with_good_firmware validate no_resource_manager
    mv /dev/tpmrm0.away /dev/tpmrm0
}

# TPM2_PCR_Extend of PCR 4 with a digest of 32 bytes 0xAB for SHA-256, which no log shows. Not to be undone.
unlogged_measurement() {
    exec 3<>/dev/tpm0
    printf '\200\002\0\0\0\101\0\0\001\202\0\0\0\004\0\0\0\011\100\0\0\011\0\0\0\0\0\0\0\0\001\0\013%s' \
        "$(head -c 32 /dev/zero | tr '\0' '\253')" >&3
    dd bs=4096 count=1 <&3 2>/dev/null | head -c 10 | od -An -tx1 >"$results/extend"
    exec 3>&-
    with_good_firmware validate unlogged_measurement
}

# A key of the machine's owner for Secure Boot, where none is: a variable "db" with one SHA-256 entry, as the kernel
# writes it (attributes, then time, certificate and list of signatures). It shows from the next boot on.
enroll_key() {
    variable=/sys/firmware/efi/efivars/db-d719b2cb-3d3a-4596-a3bc-dad00e67656f
    {
        printf '\047\0\0\0'                                             # attributes
        printf '\352\007\001\001\0\0\0\0\0\0\0\0\0\0\0\0'               # 2026-01-01
        printf '\030\0\0\0\0\002\361\016'                               # 24 bytes, revision, type
        printf '\235\322\257\112\337\150\356\111\212\251\064\175\067\126\145\247'
        printf '\046\026\304\301\114\120\222\100\254\251\101\371\066\223\103\050' # SHA-256
        printf '\114\0\0\0\0\0\0\0\060\0\0\0'                           # 76 bytes, no head, 48 an entry
        head -c 48 /dev/zero | tr '\0' '\125'
    } >/tmp/db
    dd if=/tmp/db of="$variable" bs=4096 2>"$results/enroll_key.report"
    echo $? >"$results/enroll_key.code"
}
