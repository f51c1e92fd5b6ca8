# What a sealed device's PMF and event log hold, and what is said of one that was changed or cut.
vellum-lab forge device >/dev/null
tail -c +19 device/firmware/gm_file_get.bin >pmf.bin

title "a signed PMF"
vellum-lab inspect pmf pmf.bin --trusted device/trusted --intermediate device/intermediate
echo "exit code $?"

title "its certificate without the authority between"
vellum-lab inspect pmf pmf.bin --trusted device/trusted | sed -n '/^certificate:/,/^rules:/p'

title "the seal configuration for machines"
vellum-lab inspect pmf pmf.bin --json | sed -n '/"seal_configuration"/,/}/p'

title "one changed bit"
printf '\001' | dd of=pmf.bin bs=1 seek=20 conv=notrunc status=none
vellum-lab inspect pmf pmf.bin | sed -n '1,/^certificate:/p'

title "the beginning of an event log and of its events"
vellum-lab inspect eventlog device/tpm/event_log.bin | sed -n '1,/^  \[1\]/p;/^events:/,/^  \[3\]/p'
echo "exit code ${PIPESTATUS[0]}"

title "a cut event log"
head -c 31 device/tpm/event_log.bin >cut.bin
vellum-lab inspect eventlog cut.bin
echo "exit code $?"
