# Versions of the firmware that are unsealed, those that are not, and the check that is left out.
for version in 1.1 0.0 2.0 255.255; do
    title "version $version"
    forge
    answer get_version.bin 16 "$(printf '%02x' ${version/./ })"
    unseal
done

title "version 0.1"
forge
answer get_version.bin 16 0001
unseal | tail -n 3

for version in 01 02; do
    title "version ${version#0}.0 without the check"
    forge
    answer get_version.bin 16 $version
    unseal --bypass_version_check
    grep WARNING kxl.log | tail -n 1
done

title "no check on the console"
forge new-version
unseal --bypass_version_check -v 1

title "no version, no check"
forge
rm device/firmware/get_version.bin
unseal --bypass_version_check
