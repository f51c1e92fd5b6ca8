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

# with_firmware_in FOLDER COMMAND...
with_firmware_in() {
    start_firmware "$1"
    shift
    "$@"
    stop_firmware
}

# with_good_firmware COMMAND...
with_good_firmware() {
    with_firmware_in "$sealed/firmware" "$@"
}

plain() {
    with_good_firmware validate plain
}

captured() {
    with_good_firmware say_of captured vellum-report capture "$results/capture" --config kxl.ini --file 'E:\bom\system.bom'
    read_pcrs >"$results/captured.pcrs"
}

# With what the TPM signs, through the kernel's resource manager.
quoted() {
    with_good_firmware say_of quoted vellum-report capture "$results/quoted" --nonce 00c0ffee00c0ffee \
        --config kxl.ini --file 'E:\bom\system.bom'
}

# A firmware that can be unsealed, which the other checks have no use for.
make_unsealable() {
    cp -r "$sealed/firmware" /tmp/unsealable
    prepare_unsealing /tmp/unsealable
}

unsealed() {
    make_unsealable
    mkdir /tmp/unsealable/sent
    with_firmware_in /tmp/unsealable say_of unsealed vellum --unseal --reason=0 -o /tmp/unsealed.log
    mv /tmp/unsealable/sent "$results/sent"
}

after_unsealing() {
    with_firmware_in /tmp/unsealable validate after_unsealing
}

unsealed_again() {
    with_firmware_in /tmp/unsealable say_of unsealed_again vellum --unseal --reason=0 -o /tmp/unsealed_again.log
}

# A later boot, in which the firmware has no seal to measure.
since_unsealing() {
    make_unsealable
    : >/tmp/unsealable/deactivated
    with_firmware_in /tmp/unsealable validate since_unsealing
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

# The log says that the TPM was started there.
from_locality_3() {
    cat /sys/firmware/efi/efivars/SecureBoot-* >"$results/secure_boot"
    tell_locality 3
    with_good_firmware validate from_locality_3
    conceal_locality
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

# A program that Secure Boot may not start any more, by a variable that the owner of its keys has signed (attributes,
# then signature and value, as the kernel writes it). It shows from the next boot on.
revoke_program() {
    variable=/sys/firmware/efi/efivars/dbx-d719b2cb-3d3a-4596-a3bc-dad00e67656f
    [ ! -e "$variable" ] || chattr -i "$variable"
    dd if=../in/revocation of="$variable" bs=64k 2>"$results/revoke_program.report"
    echo $? >"$results/revoke_program.code"
}
