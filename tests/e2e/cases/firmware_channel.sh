# Whatever goes wrong on the way to the firmware is named in both modes, and the way is closed again.
usual='^(Unsealing the device\.\.\.|Norvane.* KVR version: .*|KVR (Feature|Seal) State: .*|)$'

# unseals: what is unusual in an unsealing, and what reached the firmware.
unseals() {
    replay --unseal -c device/kxl.ini | grep -vE "$usual"
    sent
}

# validates: the firmware's stages that fail, and why.
validates() {
    replay --validate -c device/kxl.ini | grep -A9 'FAILED$' | grep -E '^    |FAILED$|exit code' | head -n "$1"
}

title "no interface device"
forge no-interface
unseals
validates 4
title "no client"
forge no-client
unseals
validates 3

while read -r lines fault; do
    title "$fault"
    forge
    echo "$fault" >device/firmware/faults
    unseals
    [ "$lines" = 0 ] || validates "$lines"
done <<'FAULTS'
4 list_size fail 13
4 list fail 31
0 list grow
5 open fail 2
0 version no_event
5 version not_started 16
0 version timed_out
0 version wait_abandoned
0 version wait_failed
0 version not_collected
0 version short 4
0 version pending
0 connect no_event
0 connect not_started
2 connect timed_out
0 connect wait_abandoned
0 connect wait_failed
0 connect not_collected
0 connect short 3
0 write no_event
0 write not_started
0 write timed_out
0 write wait_abandoned
0 write wait_failed
0 write not_collected
6 write short 8
0 read no_event
0 read not_started
6 read timed_out
0 read wait_abandoned
0 read wait_failed
0 read not_collected
0 read short 15
0 read pending
0 close fail
FAULTS

for length in 0 16 18 1203 1048577; do
    title "messages of at most $length bytes"
    forge
    echo $length >device/firmware/max_message_length
    unseals
done
