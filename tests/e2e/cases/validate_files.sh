# Files given beside the device: PMF, reference log, external certificate, TL3 file, configuration.
. "$E2E_DIR/validate_helpers.sh"
forge
remember
vellum-lab sample-logs .
tail -c +19 device/firmware/gm_file_get.bin >pmf.bin
: >empty.bin
head -c 3 pmf.bin >three_bytes.bin
head -c 65536 /dev/zero >big.bin
sed '1s/^P/X/' pmf.bin >marker.bin

check() {
    title "$@"
    differences -l 0 "$@"
}

check -g absent.bin
for file in empty three_bytes big marker; do
    title "-g $file.bin"
    differences -l 0 -g $file.bin | grep -v SKIPPED
done

check --reference_tpm_log_file=device/tpm/event_log.bin
check --reference_tpm_log_file=clean.bin
check --reference_tpm_log_file=device/tpm/event_log.bin --skip_retrieving_tpm_event_log
check --reference_tpm_log_file=clean.bin --tpm_event_log_file=clean.bin --skip_retrieving_platform_measurements
check --reference_tpm_log_file=changed.bin
check --reference_tpm_log_file=absent.bin
title "a reference log of no events"
differences -l 0 --reference_tpm_log_file=pmf.bin | grep -v '^  '

# The certificate that the PMF carries is the extension of type 48 behind the header.
size=$(od -An -tu4 -j652 -N4 pmf.bin)
tail -c +657 pmf.bin | head -c $((size - 8)) >carried.der
{
    echo '-----BEGIN CERTIFICATE-----'
    base64 -w64 carried.der
    echo '-----END CERTIFICATE-----'
} >carried.pem
check --pmf_external_certificate_path=carried.pem
check --pmf_external_certificate_path=device/trusted/root.crt
check --pmf_external_certificate_path=carried.der
check --pmf_external_certificate_path=absent.pem
forge --fault pmf-empty-certificate
title "the certificate comes from outside alone"
differences -l 0 --pmf_external_certificate_path=carried.pem

title "the BOM file of a Windows device is named in other letters"
forge
mv device/disk/C/bom parts
mkdir device/disk/C/Bom
mv parts/system.bom device/disk/C/Bom/SYSTEM.BOM
differences -l 0

forge --level TL3
remember
mv device/tl3_identity.csv identity.csv
check --tl3_seal_identity_verification_file=absent.csv
check --tl3_seal_identity_verification_file=identity.csv
sed 's/$/\r/' identity.csv >crlf.csv
check --tl3_seal_identity_verification_file=crlf.csv
sed 's/version,1$/version,2/' identity.csv >version.csv
check --tl3_seal_identity_verification_file=version.csv
sed '4s/UUID,[^,]*/UUID,/' identity.csv >gap.csv
check --tl3_seal_identity_verification_file=gap.csv
sed '4s/$/,extra/' identity.csv >extra.csv
check --tl3_seal_identity_verification_file=extra.csv

title "no configuration file"
vellum-lab replay device -- --validate 2>&1 | without_banner
echo "exit code ${PIPESTATUS[0]}"
vellum-lab replay device -- --validate -c absent.ini 2>&1 | without_banner
printf '[Expected Seal Configuration]\nBIOSLockEnabled=yes\n' >bad.ini
title "a configuration file with an invalid value"
vellum-lab replay device -- --validate -c bad.ini 2>&1 | without_banner
echo "exit code ${PIPESTATUS[0]}"
title "a configuration file that expects nothing"
: >empty.ini
vellum-lab replay device -- --validate -c empty.ini -l 0 2>&1 | without_banner | grep -vxF -f passing
