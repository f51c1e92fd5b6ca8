# Logs that cannot be read or parsed: each is named, the reference log ends the run, the live log fails its stage.
vellum-lab sample-logs .
: >empty.bin
mkdir directory.bin
truncate -s 257M huge.bin
head -c 100 clean.bin | tr '\0' '\1' >garbage.bin

for file in absent.bin empty.bin directory.bin huge.bin garbage.bin; do
    title "reference log $file"
    replay --compare_log --reference_tpm_log_file=$file --tpm_event_log_file=clean.bin
done
for file in absent.bin empty.bin; do
    title "live log $file"
    compare --tpm_event_log_file=$file
done
title "no live log"
compare

title "values of --compared_pcrs"
for pcrs in '1, 4,8' ' 0 ,23 ' '007' '' ' ' '1,,4' '1,4,' ',1' '24' '3,3' '1 4' '+1' '-1' '1;2' '99999999999999999999'; do
    echo "'$pcrs'"
    compare --tpm_event_log_file=clean.bin --compared_pcrs="$pcrs" -v 2 | grep -E 'PCRs|compared_pcrs|exit code'
done
