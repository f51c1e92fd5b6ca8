# The Device ID: given from outside, and in the paths of files.
. "$E2E_DIR/validate_helpers.sh"

forge
remember

# given SOURCE VALUE
given() {
    title "$1 given as '$2'"
    forge --device-id "$1"
    more=
    differences -l 0 --external_device_id="$2"
}

for value in LINE-4_unit.0042 LINE-4_unit.0043 LINE-4 'ABC 1' 0xAB "$(printf '%064d' 0)" "$(printf '%063d' 0)"; do
    given OEM_DEFINED_LITERAL "$value"
done
for value in 0x0A0BC0DE 0x0a0bc0de 0x0A0B 0xABC AB 0x 0x0G "0x$(printf '%0130d' 0)" "0x$(printf '%0128d' 0)"; do
    given OEM_DEFINED_BLOB "$value"
done
given UUID 'not looked at'
given OEM_DEFINED_LITERAL ' '

for source in OEM_DEFINED_LITERAL OEM_DEFINED_BLOB; do
    title "$source not given"
    forge --device-id "$source"
    more=
    differences -l 0
done

# path PATH OPTION...: the TL3 file has this name in the configuration file, beside which it lies.
path() {
    title "TL3SealIdentityVerificationFile=$*"
    sed -i "s|^TL3Seal.*|TL3SealIdentityVerificationFile=$1|" device/kxl.ini
    shift
    differences -l 0 "$@"
}

forge --level TL3
remember
mv device/tl3_identity.csv device/00112233-4455-6677-8899-AABBCCDDEEFF.csv
cp device/*EEFF.csv device/SN-0042.csv
cp device/*EEFF.csv device/SN_12_3-LINE.4-0x0A0B.csv
path ::UUID::.csv
path ::SERIAL_NUMBER::.csv
path ./::SERIAL_NUMBER::/::UUID::.csv
path ::UUID.csv
path a::UUID::::b.csv
path ::uuid::.csv
path ::OEM_DEFINED_LITERAL::.csv
path ::OEM_DEFINED_LITERAL::.csv --external_device_id=0xAB
path ::OEM_DEFINED_LITERAL::.csv '--external_device_id=A/B'
path ::OEM_DEFINED_BLOB::.csv
path ::OEM_DEFINED_BLOB::.csv --external_device_id=0xABC
path ::OEM_DEFINED_BLOB::.csv --external_device_id=AB
title "paths that are too long"
differences -l 0 --tl3_seal_identity_verification_file="$(printf '%0240d' 0)::UUID::"
differences -l 0 --tl3_seal_identity_verification_file="$(printf '%0300d' 0)"
sed -i 's|SN-0042|SN 12/3|' device/smbios.bin
path ::SERIAL_NUMBER::-LINE.4-0x0A0B.csv
path ::SERIAL_NUMBER::-::OEM_DEFINED_LITERAL::-0x0A0B.csv --external_device_id=LINE.4
rm device/smbios.bin
path ::UUID::.csv
path SN-0042.csv

title "tokens in the other paths"
forge
mkdir SN-0042
cp device/tpm/event_log.bin SN-0042/log.bin
tail -c +19 device/firmware/gm_file_get.bin >SN-0042/pmf.bin
differences -l 0 -g ::SERIAL_NUMBER::/pmf.bin --tpm_event_log_file=::SERIAL_NUMBER::/log.bin \
    --reference_tpm_log_file=::SERIAL_NUMBER::/log.bin --pmf_external_certificate_path=::SERIAL_NUMBER::/absent.crt
for option in '-g ::A' '--tpm_event_log_file=::A' '--reference_tpm_log_file=::A' '--pmf_external_certificate_path=::A'; do
    title "$option"
    # shellcheck disable=SC2086 # an option, and its value where it stands apart
    differences -l 0 $option
done
