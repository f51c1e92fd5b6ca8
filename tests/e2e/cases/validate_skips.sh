# Which stages are skipped when the user asks for it, when something cannot be retrieved, and when the log is not to
# be trusted; only what differs from the report on a device that passes.
. "$E2E_DIR/validate_helpers.sh"
forge
remember
tail -c +19 device/firmware/gm_file_get.bin >pmf.bin
cp device/tpm/event_log.bin live.bin
vellum-lab sample-logs .

check() {
    title "$@"
    differences -l 0 "$@"
}

check --skip_retrieving_pcrs
check --skip_retrieving_tpm_event_log
check --skip_retrieving_platform_measurements
check --skip_iwl_validation
check --skip_retrieving_platform_measurements -g pmf.bin
check --skip_retrieving_pcrs --skip_retrieving_tpm_event_log --skip_retrieving_platform_measurements
check --tpm_event_log_file=live.bin
check --tpm_event_log_file=changed.bin
check --tpm_event_log_file=absent.bin
check --tpm_event_log_file=live.bin --skip_retrieving_tpm_event_log
check --tpm_event_log_file=live.bin --skip_retrieving_pcrs
check -g pmf.bin
check --bypass_version_check

# without FILE... -- OPTION...: the device without these files.
without() {
    title "without $*"
    local gone=()
    while [ "$1" != -- ]; do
        gone+=("device/$1")
        shift
    done
    shift
    forge
    rm -r "${gone[@]}"
    differences -l 0 "$@"
}

without firmware --
without firmware -- -g pmf.bin
without firmware tpm smbios.bin disk -- --skip_retrieving_pcrs --skip_retrieving_tpm_event_log
without firmware/get_version.bin --
without firmware/feature_get_state.bin --
without firmware/gm_file_get.bin --
without firmware/gm_file_get.bin -- -g pmf.bin
without tpm --
without tpm/pcrs.bin --
without tpm/pcrs.bin -- --tpm_event_log_file=live.bin
without tpm/pcrs.bin -- --skip_retrieving_pcrs
without tpm/event_log.bin --
without smbios.bin --
without os_version --
without disk --
without disk/volumes --

title "a TPM 1.2"
forge
echo 1 >device/tpm/version
differences -l 0

title "an event log that is cut"
forge
truncate -s 1000 device/tpm/event_log.bin
differences -l 0

title "a driver that is in use"
forge
echo "version not_started 16" >device/firmware/faults
differences -l 0

title "a log that does not match the PCRs"
forge --fault forged-log
differences -l 0

title "the same, and the PCRs are not wanted"
differences -l 0 --skip_retrieving_pcrs

title "a version that is not supported, and is not to be checked"
forge --fault new-version
differences -l 0 --bypass_version_check
