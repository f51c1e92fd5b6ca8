# What is refused in a configuration file, by which text, and at which line.

# validate OPTION...: why a validation does not begin, or that it does.
validate() {
    replay --validate --skip_retrieving_pcrs --skip_retrieving_tpm_event_log "$@" | sed '/^Reference TPM Log/,$d'
}

# ini TEXT: what is said of the configuration file with this content; nothing of one that is good.
ini() {
    printf '%b' "$1" >kxl.ini
    title "$(head -c 100 kxl.ini | tr '\n' '|' | cat -v)"
    validate
}
options='[Expected Seal Configuration]\n'
opt_out='[Expected CustomOptOut]\n'

ini ''
ini "\xEF\xBB\xBF; a comment\r\n${options}BIOSLockEnabled = 1 ; set at the factory\r\nPMFSigningEnabled: 0\r\n"
ini "${options}BIOSLock=1\n"
ini "\n[Logging]\nBIOSLockEnabled=1\n"
ini "[logging]\nFileLogLevel=1\n"
ini "${options}BIOSLockEnabled=1\n\nBIOSLockEnabled=1\n"
ini "${options}BIOSLockEnabled=1\n  0\n"
ini "BIOSLockEnabled=1\n"
ini "# comment\nFileLogLevel=1\n"
ini "${options}BIOSLockEnabled\n"
ini "${options}BIOSLockEnabled=1\n[Logging\n"
ini "${options}biosLockEnabled=1\n"
for rest in 197 198 500; do ini "; $(printf "%${rest}s" | tr ' ' x)\n${options}BIOSLockEnabled=1\n"; done
for rest in 186 187; do ini "[PMF Signature Validation]\nTrustedCaDir=$(printf "%${rest}s" | tr ' ' x)\n"; done

for value in 01 yes '' 2; do ini "${options}BIOSLockEnabled=$value\n"; done
for value in 14 15 2147483647 2147483648 3000000000 -15 15s '' 18446744073709551636; do
    ini "${opt_out}OptOutIntervalSeconds=$value\n"
done
for value in 'CTRL+ALT+F1' 'SHIFT+a, b' '' 'F1+CTRL' 'CTRL+CTRL+A' 'A+B' 'A,,B' 'CTRL' 'F13' '1,2,3,4,5,6,7' '1,2,3,4,5,6,7,8'; do
    ini "${opt_out}OptOutHotKey=$value\n"
done
ini '[Expected Device Identification]\nDeviceIdSource=uuid\n'
ini '[Seal Signature Validation]\nExpectedSealSigningAlgorithm=SHA256\n'
for value in 0 1 2 3 4 5 ''; do ini "[Logging]\nFileLogPath=ini.log\nFileLogLevel=$value\n"; done
ini "[Logging]\nFileLogPath=no/such/directory/x.log\n"

title "no configuration file"
rm kxl.ini
validate
title "one that does not exist"
validate -c absent.ini
title "a directory"
mkdir kxl.ini
validate

title "what the log says of the keys"
rm -r kxl.ini kxl.log
ini "${options}BIOSLockEnabled=1\nSEDLockEnabled=0\n[Expected Device Identification]\nDeviceIdSource=SERIAL_NUMBER\n[Seal Signature Validation]\nExpectedSealSigningAlgorithm=SHA256-NULL-ENCRYPTION\nTL3SealIdentityVerificationFile=a b.csv\n${opt_out}OptOutHotKey=SHIFT+a\nOptOutIntervalSeconds=20\n[Disk Measurements]\nBOMLocationVolumeLetterMismatchAllowed=1\n[Logging]\nFileLogLevel=3\n" >/dev/null
grep -F '[Ini Config]' kxl.log
