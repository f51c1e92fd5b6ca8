# What the cases that validate forged devices share.

# forge OPTION...: a sealed device in the folder "device".
forge() {
    rm -rf device
    more=$(vellum-lab forge device "$@" | sed 's/.*kxl\.ini//')
}

# validate OPTION...: the report on the device, without the banner, and the exit code. What the crypto library says
# of an error differs from version to version.
validate() {
    # shellcheck disable=SC2086 # no option or several
    vellum-lab replay device -- --validate -c device/kxl.ini $more "$@" 2>&1 | without_banner |
        sed -E 's/error:[0-9A-F]{8}:.*/(the error of the library)/'
    echo "exit code ${PIPESTATUS[0]}"
}

# remember: the report of a device that passes, for the two functions below.
remember() {
    validate | grep -vE '^(Validation|Exiting|exit code) ?' >>passing
}

# differences OPTION...: those lines of the report that devices which pass do not have.
differences() {
    validate "$@" | grep -vxF -f passing | grep -v '^Exiting'
}
