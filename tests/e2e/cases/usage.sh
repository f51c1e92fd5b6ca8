# Which usage is shown, what is said before it, and in which order the modes are tried.
run() {
    title "$*"
    vellum-lab replay device -- "$@" | sed -n '7,$p' | grep -v '^  -'
    echo "exit code ${PIPESTATUS[0]}"
}
device

title "the whole output without a mode"
vellum-lab replay device --
echo "exit code $?"

run --validate --unseal
run --unseal --compare_log -v x
run --compare_log
run --compare_log --reference_tpm_log_file=a --reference_tpm_log_file=b
run --compare_log --reference_tpm_log_file=a --validate
run --no_such_option -v 2 left_over

title "the program is named as it was called"
(exec -a ./other-name vellum --unseal --wrong) | sed -n '7,9p' | sed 's/^.*\\//'
