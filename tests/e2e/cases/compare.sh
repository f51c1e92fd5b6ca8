# The report of two boots that differ, the report of equal ones, and the choice of PCRs.
title "differing boots"
compare --tpm_event_log_file=changed.bin

title "equal boots"
compare --tpm_event_log_file=clean.bin

title "an informational event only"
compare --tpm_event_log_file=changed.bin --compared_pcrs='6, 7'
