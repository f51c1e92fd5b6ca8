# Whole reports on devices that pass.
. "$E2E_DIR/validate_helpers.sh"

title "TL1"
forge
validate -l 0 | tee tl1

# Both lines of a difference: what the first device says, and what this one says.
for options in '--level TL3' '--ironwall off' '--level TL3 --ironwall off' '--device-id SERIAL_NUMBER' \
    '--device-id OEM_DEFINED_LITERAL' '--device-id OEM_DEFINED_BLOB' '--level TL3 --device-id SERIAL_NUMBER' \
    '--level TL3 --device-id OEM_DEFINED_LITERAL' '--level TL3 --device-id OEM_DEFINED_BLOB' '--seal-signing off' \
    '--seal-signing off --pmf-signing off --ironwall off'; do
    title "$options"
    # shellcheck disable=SC2086 # options and their values
    forge $options
    validate -l 0 | diff tl1 -
done

title "the verdict alone"
validate -v 1 -l 0
title "nothing"
validate -v 0 -l 0
