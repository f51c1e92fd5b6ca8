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

title "an event log"
say inspect eventlog "forged pmf-byte/tpm/event_log.bin" | sed -n '1,/^event 3/p;/^verdict/,$p'

title "an event for machines"
vellum-lab inspect eventlog --json "forged pmf-byte/tpm/event_log.bin" | sed -n '1,/"pcrs"/p;/"log_position": 5,/,/}/p'

title "event logs that are damaged, or none"
log="forged pmf-byte/tpm/event_log.bin"
for size in 7 31 3000 3341; do
    head -c $size "$log" >"cut$size"
done
printf '\0\0\0' | cat cut3341 - >filled
printf 'more' | cat cut3341 - >longer
tail -c +66 cut3341 >headless
for file in cut7 cut31 cut3000 cut3341 filled longer headless pmf.bin empty; do
    say inspect eventlog $file 2>&1 | sed -n '1p;/^format/p;/^cautions/,$p;/^reasons/,$p' | awk '!said[$0]++'
done
