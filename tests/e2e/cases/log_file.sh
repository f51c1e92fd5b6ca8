# Levels of both sinks, two runs in one log file, and settings that are refused.
title "the log file at its default level"
compare --tpm_event_log_file=clean.bin --compared_pcrs=4
cat kxl.log

title "a second run is appended: rules in the file"
compare --tpm_event_log_file=changed.bin --compared_pcrs=6 >/dev/null
grep -c '^=\{120\}$' kxl.log

for level in 0 1 2; do
    title "console level $level, log file level $level"
    compare --tpm_event_log_file=changed.bin --compared_pcrs=6 -v $level -l $level -o level$level.log
    if [ -f level$level.log ]; then cat level$level.log; else echo "no log file"; fi
done

title "console level 3"
compare --tpm_event_log_file=changed.bin --compared_pcrs=6 -v 3 -l 0

for options in '-v 4' '-l 4' '-v 5' '-l -1' '-o no/such/directory/x.log' '-v 0 -o no/such/directory/x.log'; do
    title "refused: $options"
    # shellcheck disable=SC2086 # an option and its value
    compare $options
done

title "a path that is too long"
compare -o "$(printf '%256s' '' | tr ' ' x)"

# Windows has no command line of this length.
if [ "${E2E_SYSTEM:-}" != windows ]; then
    title "arguments that are too long"
    compare --tpm_event_log_file="$(printf '%32768s' '' | tr ' ' x)" | cut -c1-100
fi
