# Files that are none, and standard streams that are closed.
vellum-lab forge device >/dev/null

title "a directory in place of a file"
replay --validate -c device
replay --validate -c device/kxl.ini -o device
for option in --tpm_event_log_file=device --pmf_external_certificate_path=device "-g device"; do
    # shellcheck disable=SC2086 # an option, and its value where it stands apart
    replay --validate -c device/kxl.ini -o kxl.log $option | grep -m1 -A2 -E ': +FAILED'
done

title "nothing but the log is written into the log when the console's streams are closed"
rm kxl.log
vellum-lab replay device -- --validate -c device/kxl.ini -o kxl.log >&- 2>&- <&-
echo "exit code $?"
grep -c '\[INFO\]: *Norvane(R) KVR version: 1.0$' kxl.log
grep -c '^Norvane(R) KVR version' kxl.log
