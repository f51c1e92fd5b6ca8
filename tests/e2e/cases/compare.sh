# The report of two boots that differ, the report of equal ones, and the choice of PCRs.
title "differing boots"
compare --tpm_event_log_file=changed.bin

title "equal boots"
compare --tpm_event_log_file=clean.bin

title "an informational event only"
compare --tpm_event_log_file=changed.bin --compared_pcrs='6, 7'

title "paths that name the platform"
rm -rf device
vellum-lab forge device >/dev/null
mkdir SN-0042
cp clean.bin SN-0042/00112233-4455-6677-8899-AABBCCDDEEFF.bin
tokens() {
    replay --compare_log --reference_tpm_log_file="$1" --tpm_event_log_file="$2" --compared_pcrs=0
}
tokens ::SERIAL_NUMBER::/::UUID::.bin clean.bin
tokens clean.bin ::SERIAL_NUMBER::/::UUID::.bin
tokens ::OEM_DEFINED_LITERAL::.bin clean.bin
tokens clean.bin ::UUID
rm device/smbios.bin
tokens clean.bin ::UUID::.bin
