# What the report says of each fault, beyond what it says of a device without one; stages that are skipped are only
# counted. Every fault is held to what it is said to be: a warning, a remark, or a reason to fail.
. "$E2E_DIR/validate_helpers.sh"
for options in '--level TL1' '--level TL3'; do
    # shellcheck disable=SC2086 # an option and its value
    forge $options
    remember
done

judge() { # SAYS VERDICT
    case "$1" in
        *'(a warning)') [[ $2 == *PASSED*warnings* ]] ;;
        *'(a remark)') [[ $2 == *PASSED* && $2 != *warnings* ]] && grep -q "^    " report ;;
        *) [[ $2 == *FAILED* ]] ;;
    esac || echo "WRONG: $2"
}

vellum-lab forge --list-faults | grep -v '^ ' | while read -r name says; do
    title "$name: $says"
    forge --fault "$name"
    differences -l 0 >report
    grep -vE 'SKIPPED$|^    Skipping stage' report
    judge "$says" "$(grep ^Validation report)"
done
