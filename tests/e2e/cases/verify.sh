# Quotes, identities and verification from the command line. Forged devices have one key, so that all of it is the same
# each time.
say() {
    printf '$ %s\n' "$*"
    "$@" 2>&1
    echo "exit code $?"
}

# verify OPTION...: without what the validation says.
verify() {
    printf '$ vellum-report verify %s\n' "$*"
    vellum-report verify "$@" >out 2>&1
    local code=$?
    grep -E '^(vellum|vellum-report|vellum-report verify|usage): |^Try |^Validation ' out
    echo "exit code $code"
}

vellum-lab forge device --nonce 00112233 >/dev/null

title enrolment
say vellum-report enrol device
vellum-report enrol device --output identity.json
vellum-report enrol device --output no/such/identity.json
echo "exit code $?"
vellum-report enrol nowhere
echo "exit code $?"
vellum-lab forge silent >/dev/null
say vellum-report enrol silent
say vellum-report enrol device --nonce 00112234
say vellum-report enrol device --nonce 001
vellum-lab forge other --device-id SERIAL_NUMBER >/dev/null
mv device/firmware kept && cp -r other/firmware device/firmware
say vellum-report enrol device --nonce 00112233
rm -r device/firmware && mv kept device/firmware
say vellum-report enrol
say vellum-report verify --help

title verification
verify device --nonce 00112233 --identity identity.json --summary -- --validate -c device/kxl.ini
verify device --nonce 00112234 --identity identity.json --summary -- --validate -c device/kxl.ini
verify silent --nonce 00112233 --identity identity.json -- --validate -c silent/kxl.ini
echo 'swtpm:path=/nowhere' >device/tpm/tcti
verify device --nonce 00112233 --identity identity.json -- --validate -c device/kxl.ini
rm device/tpm/tcti
verify device --nonce 00112233 --identity identity.json -- --validate -c device/kxl.ini --skip_retrieving_tpm_event_log
verify device --nonce 00112233 --identity identity.json -- --unseal -c device/kxl.ini

title arguments that are not understood
verify device --nonce 001 --identity identity.json -- --validate
verify device --nonce 00112233 --identity identity.json
verify device --identity identity.json -- --validate
verify nowhere --nonce 00112233 --identity identity.json -- --validate
verify device --nonce 00112233 --identity no/such/file -- --validate
for content in '' '{' '[]' '{"schema": "vellum-identity", "schema_version": 2, "attestation_key": {}}' \
    '{"schema": "vellum-identity", "schema_version": 1, "attestation_key": [7]}'; do
    echo "$content" >odd.json
    verify device --nonce 00112233 --identity odd.json -- --validate
done
say vellum-report capture again --device device --nonce 0x00
say vellum-report capture again --device nowhere

title 'a recorded device that is captured'
say vellum-report capture again --device device --nonce 00112233
cmp device/tpm/pcrs.bin again/tpm/pcrs.bin
ls again/tpm
