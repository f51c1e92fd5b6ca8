# When a device may be unsealed, and what the firmware is sent then. Request 10 asks for the version, 7 for the state,
# 6 deactivates; nothing of the last kind leaves for a device that must stay sealed.
state=feature_get_state.bin
without_disk_lock=1b41 # the seal configuration

title "the disk's lock was removed"
forge
unseal
title "the whole deactivation"
od -Ad -tx1 device/firmware/sent/0003.bin

title "the disk has no lock any more"
forge
answer $state $((1204 + 3 * 164)) 06
unseal -v 3 | grep -E 'Skyport|seal log|exit code|sent:'

title "the disk was never locked"
forge no-disk-records
answer $state 20 $without_disk_lock
unseal -v 3 | grep -E 'Skyport|seal log|exit code|sent:'

title "a boot that collects measurements"
forge no-disk-records measurement-boot
unseal -v 3 | grep -E 'Skyport|seal log|exit code|sent:'

title "the seal broke since the disk was found unlocked"
forge disk-found-unlocked
unseal -v 3 | grep -E 'Skyport|broken|exit code|sent:'

title "configured, not active yet"
forge
answer $state 16 01
unseal

title "refused: the disk is locked"
forge no-disk-records
unseal
title "refused: the disk is locked, and the seal is broken for another reason"
forge seal-broken
unseal
title "refused: found unlocked, but the seal is intact"
forge disk-found-unlocked
answer $state 22 01
unseal | tail -n +4
title "refused: inactive"
forge feature-inactive measurement-boot
unseal
title "refused: an undefined state"
forge measurement-boot
answer $state 16 ab00
unseal

for reason in 0 1 2; do
    title "reason $reason"
    forge
    unseal --reason=$reason | tail -n 2
done
for reason in -1 3 256; do
    title "refused: reason $reason"
    forge
    unseal -r $reason
done

title "refused: the answer to the deactivation"
forge
answer feature_deactivate.bin 12 01
unseal | tail -n +4
