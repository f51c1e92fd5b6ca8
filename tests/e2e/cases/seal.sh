# A recorded machine becomes a sealed device: what is made, what is refused, and what arguments are understood.
lab() {
    echo "\$ vellum-lab $*"
    vellum-lab "$@"
    echo "exit code $?"
}

# verdict DIR [OPTION...]: the end of the report, and the stages that failed.
verdict() {
    vellum-lab replay "$1" --validate -c "$1/kxl.ini" -l 0 "${@:2}" 2>&1 | grep -E 'FAILED|^Validation'
}

vellum-lab forge machine >/dev/null

title "what there is afterwards"
lab seal machine sealed --bom 'C:\bom\system.bom'
(cd sealed && find . -type f | sort)
cat sealed/seal_event.txt
verdict sealed
title "the event is as the text says"
stat -c %s sealed/seal_event.bin
sha256sum <sealed/seal_event.bin
vellum-lab inspect eventlog --full sealed/tpm/event_log.bin | grep -c "$(sha256sum <sealed/seal_event.bin | cut -d ' ' -f 1)"

title "the same again is the same"
vellum-lab seal --bom='C:\bom\system.bom' machine again >/dev/null
diff -r sealed again && echo same
title "what is sealed can be sealed"
vellum-lab seal sealed twice --day 2026-03-01 --pcrs 0-3 >/dev/null
verdict twice

title "a later boot of the machine, with the responses of the sealed one"
cp -r machine later
rm -r later/firmware
cp -r sealed/firmware sealed/tpm later
cp sealed/kxl.ini later
verdict later
cp machine/tpm/* later/tpm
verdict later

title "a Device ID from outside is in the command that is printed"
lab seal machine 'of line 4' --device-id OEM_DEFINED_LITERAL --external-device-id unit.7 --level TL3
verdict 'of line 4' --external_device_id=unit.7
verdict 'of line 4' --external_device_id=unit.8

title "keys of one's own that are none"
for words in 'absent.pem machine/trusted/root.crt' 'machine/trusted/root.crt machine/trusted/root.crt'; do
    lab seal machine there --key "${words% *}" --certificate "${words#* }" 2>&1 | sed 's/cannot be read: .*/cannot be read: .../'
done

title "a recording that lacks something"
for lacks in tpm/event_log.bin os_version disk; do
    cp -r machine lacking
    rm -r "lacking/$lacks"
    lab seal lacking there
    rm -r lacking
done
vellum-lab forge no-separator --fault no-separator >/dev/null
lab seal no-separator there
lab seal machine there --bom C:/bom/other.bom 2>&1 | sed 's/Error: .*/Error: .../'
lab seal absent there
lab seal machine sealed
lab seal machine machine/kxl.ini/there 2>&1 | sed 's/into: .*/into: .../'
[ ! -e there ] || echo "something was made"

title "arguments that are not understood, and those that contradict each other"
for words in '' machine 'machine there more' 'machine there --bmo C:/x' 'machine there --bom' 'machine there --bom=bom' \
    'machine there --bom C:/../x' 'machine there --level tl1' 'machine there --device-id UUDI' 'machine there --ironwall yes' \
    'machine there --day 2026-02-30' 'machine there --expire tomorrow' 'machine there --pcrs 0-' 'machine there --pcrs 3,2,0' \
    'machine there --pcrs 0-24' 'machine there --pcrs 0-7' 'machine there --pcrs 0-3,8' 'machine there --pcrs 0,2' \
    'machine there --pcrs=' 'machine there --external-device-id A' 'machine there --device-id OEM_DEFINED_BLOB' \
    'machine there --pmf-signing off' 'machine there --day 2026-02-02 --expire 2026-02-01' 'machine there --key line.pem' \
    'machine there --level TL3 --seal-key seal.pem'; do
    # shellcheck disable=SC2086 # each is a command line
    lab seal $words
done
[ ! -e there ] || echo "something was made"
