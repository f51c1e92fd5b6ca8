# Eight runs at once write into one log file, each more than it takes in one step. Every line comes out whole, and as
# often as the runs wrote it.
device
mkdir device/firmware
echo 262144 >device/firmware/max_message_length
seq 50000 | head -c 262144 >device/firmware/get_version.bin

run() {
    vellum-lab replay device -- --unseal --bypass_version_check -l 3 -v 0 -o "$1" >/dev/null
}

run alone.txt
for _ in 1 2 3 4 5 6 7 8; do
    run shared.txt &
    [ "${E2E_SYSTEM:-}" != windows ] || wait  # where starting so many at once takes minutes
done
wait
[ "$(wc -c <alone.txt)" -gt 800000 ] || echo "the log is too short to tell"
sed s/alone/shared/ alone.txt | sort | uniq -c | awk '{ $1 *= 8; print }' >expected
sort shared.txt | uniq -c | awk '{ $1 += 0; print }' | diff -q - expected && echo "every line is whole"
