# What the jobs of the guest share. A job sources it from /lib/functions.sh.

# start_firmware FOLDER [OPTION...]: the firmware device, whose process is $firmware then; it ends with stop_firmware.
start_firmware() {
    firmware_device "$@" &
    firmware=$!
    until [ -c /dev/peli0 ]; do
        kill -0 "$firmware" || return 1
        sleep 0.05
    done
}

stop_firmware() {
    kill "$firmware" 2>/dev/null
    wait "$firmware"
    while [ -e /dev/peli0 ]; do
        sleep 0.05
    done
}
