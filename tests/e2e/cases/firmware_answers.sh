# Answers that are no success, answer something else, or are cut: what is said in both modes, and that nothing is
# unsealed on their ground.
version=get_version.bin state=feature_get_state.bin pmf=gm_file_get.bin deactivate=feature_deactivate.bin

usual='^(Unsealing the device\.\.\.|Norvane.* KVR version: .*|KVR (Feature|Seal) State: .*|)$'

unseals() {
    replay --unseal -c device/kxl.ini | grep -vE "$usual"
    sent
}

validates() {
    replay --validate -c device/kxl.ini | sed -n '/FAILED$/,/^[^ ].*\(OK\|SKIPPED\)$/p' | grep -vE '(OK|SKIPPED)$' | head -n "$1"
}

for status in 0100 0200 0300 0400 0500 0600 0700 0800 0900 0c00 ffff ffffffff; do
    title "status $status instead of the state"
    forge
    answer "$state" 12 "$status"
    unseals
done

for file in $version $pmf $deactivate; do
    for status in 01 02; do
        title "status $status instead of $file"
        forge
        answer "$file" 12 "$status"
        [ "$file" = "$pmf" ] || unseals
        [ "$file" = "$deactivate" ] || validates 4
    done
done

for file in $version $state $pmf $deactivate; do
    title "another command's answer: $file"
    forge
    answer "$file" 4 2a
    [ "$file" = "$pmf" ] || unseals
    [ "$file" = "$deactivate" ] || validates 4
done
title "the answer to no command"
forge
answer "$version" 4 00
unseals

while read -r file size; do
    title "$file, $size bytes"
    forge
    truncate -s "$size" "device/firmware/$file"
    [ "$file" = "$pmf" ] || unseals
    [ "$file" = "$deactivate" ] || validates 4
done <<END
$version 0
$version 15
$version 16
$version 17
$state 16
$state 1203
$state 1204
$pmf 17
$pmf 18
$deactivate 15
END

title "a version that is not checked"
forge new-version
replay --validate --bypass_version_check -c device/kxl.ini | head -n 5

title "a hotkey that does not fit its field"
forge
answer "$state" 26 41
unseals
replay --validate -c device/kxl.ini -v 3 | grep -A5 -E '^Seal Config matches|Hot key'
title "one record too many is claimed"
forge
answer "$state" 1202 3403
unseals
title "a part of a record is left over"
forge
answer "$state" 1202 9102
truncate -s +1 device/firmware/$state
unseals
