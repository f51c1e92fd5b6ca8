# What is said of a sealed device's PMF and event log: whether they are fit, why not, and what they hold.
say() {
    echo "\$ vellum-lab $*"
    vellum-lab "$@"
    echo "exit code $?"
}

# codes FILE: the reasons and cautions in a report for machines.
codes() {
    sed -n 's/^      "code": "\(.*\)",/\1/p' "$1" | xargs
}

day=2026-03-02
vellum-lab forge device >/dev/null
response=device/firmware/gm_file_get.bin
tail -c +19 $response >pmf.bin

title "a PMF that is fit"
say inspect pmf -c device/kxl.ini --at $day $response

title "the authority between is not named"
say inspect pmf --trusted device/trusted --at $day pmf.bin | sed -n '/^judged/,/^size/p;/^reasons/,$p'

title "no authority is named"
say inspect pmf --at $day pmf.bin | sed -n '/^judged/,/^size/p;/^reasons/,$p'

title "one changed bit, after the last day"
printf '\001' | dd of=pmf.bin bs=1 seek=20 conv=notrunc status=none
say inspect pmf -c device/kxl.ini --at 2029-01-01 pmf.bin | sed -n '/^reasons/,$p'

title "what is no PMF"
say inspect pmf device/tpm/event_log.bin 2>&1
: >empty
say inspect pmf empty 2>&1
say inspect pmf -c device pmf.bin 2>&1
say inspect pmf --at today pmf.bin 2>&1 | sed -n 1,2p

title "every fault of a PMF: what its parser, its trust and its PCRs come to in a validation, and the inspection"
for fault in $(vellum-lab forge --list-faults | sed -n 's/^\(pmf-[^ ]*\).*/\1/p' | grep -v pmf-refused); do
    forge "$fault"
    stages=$(replay --validate -c device/kxl.ini |
        grep -E '^(Retrieve Platform Measurements|Platform Measurements File|PCR.* PMF:)' | sed 's/.*: *//' | paste -sd ,)
    vellum-lab inspect pmf --json -c device/kxl.ini --at $day $response >report
    echo "$fault: $stages; $? $(codes report)"
done

log="forged pmf-byte/tpm/event_log.bin"

title "an event log"
say inspect eventlog "$log"

title "a part of it, with everything"
say inspect eventlog --full --pcr 4,7 --type efi_action "$log" | sed -n '/^event/,/^PCR/p'
say inspect eventlog --full --type 0x4 --pcr 6 "$log" | sed -n '/^event/,/^PCR/p'
say inspect eventlog --type EFI_ACTON "$log" 2>&1 | sed -n '2p;$p'
say inspect eventlog --pcr 4-24 "$log" 2>&1 | sed -n '2p;$p'

title "held against PCR values"
say inspect eventlog --type EV_NO_ACTION --pcrs device device/tpm/event_log.bin | sed -n '/sha256 value/,$p'
vellum-lab sample-logs logs
say inspect eventlog --pcr 0,4 --type EV_NO_ACTION --pcrs device logs/changed.bin | sed -n '/sha256 value/,$p'
vellum-lab inspect eventlog --json --pcrs device "$log" >report
value=$(sed -n 's/.*"log_position":10,.*"sha256":"\([0-9a-f]*\)"},"claim".*/\1/p' report)
printf '  sha256:\n    4 : 0x%s\n' "$value" >values
say inspect eventlog --pcr 4 --type EV_NO_ACTION --pcrs values "$log" | sed -n '/sha256 value/,$p'
echo "4 nothing" >values
say inspect eventlog --pcrs values "$log" 2>&1
say inspect eventlog --pcrs logs "$log" 2>&1

title "for machines"
sed '/"log_position":8,/p;/"log_position"/d;/"pcr":[1-46-9]/d' report

title "event logs that are damaged, or none"
for size in 7 31 3000 3341; do
    head -c $size "$log" >"cut$size"
done
printf '\0\0\0' | cat cut3341 - >filled
printf 'more' | cat cut3341 - >longer
tail -c +66 cut3341 >headless
for file in cut7 cut31 cut3000 cut3341 filled longer headless pmf.bin empty; do
    say inspect eventlog $file 2>&1 | sed -n '1p;/^format/p;/^notes/,$p;/^cautions/,$p;/^reasons/,$p' | awk '!said[$0]++'
done
