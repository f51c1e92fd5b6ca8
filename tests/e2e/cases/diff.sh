# What is said of the event logs of two boots: which events changed, what probably happened, who should act.
say() {
    echo "\$ vellum-lab $*"
    vellum-lab "$@"
    echo "exit code $?"
}

# head_of ...: what is said before the changes.
head_of() {
    say "$@" | sed '/^$/,/^exit/{/^exit/!d}'
}

title "one boot and itself"
vellum-lab sample-logs .
say diff clean.bin clean.bin

title "two boots"
say diff clean.bin changed.bin

title "the other way round, and one PCR"
say diff --pcr 4 changed.bin clean.bin
say diff --pcr 1-3,5 clean.bin changed.bin

title "for machines"
say diff --json --pcr 4,6 clean.bin changed.bin
vellum-lab diff --json clean.bin clean.bin | sed -n '/verdict/p'

title "a sealed device, and each thing that happened to its boot"
vellum-lab forge device >/dev/null
log=device/tpm/event_log.bin
for fault in boot-loader locality sealed-option-value no-seal-event gpt-event-digest; do
    vellum-lab forge "$fault" --fault "$fault" >/dev/null
    head_of diff $log "$fault/tpm/event_log.bin"
done

title "a forged log: one bit of an event's data under its old digest"
offset=$(grep -obaP 'B\0o\0o\0t\0O\0r\0d\0e\0r\0' clean.bin | head -1 | cut -d: -f1)
cp clean.bin forged.bin
printf '\001' | dd of=forged.bin bs=1 seek=$((offset + 18)) conv=notrunc status=none
head_of diff clean.bin forged.bin

title "a cut log"
head -c 1000 clean.bin >cut.bin
head_of diff clean.bin cut.bin
head_of diff cut.bin cut.bin

title "what cannot be compared"
: >empty
head -c 40 /dev/zero >zeros
head -c 60 clean.bin >short
for file in absent empty zeros short device/kxl.ini .; do
    say diff clean.bin "$file" 2>&1
done
say diff --json absent clean.bin
say diff --pcr 4-2 clean.bin changed.bin 2>&1
say diff clean.bin 2>&1
say diff --help
