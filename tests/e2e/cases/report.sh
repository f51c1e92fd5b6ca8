# What vellum-report says of itself and of arguments that it does not understand. What its reports hold is tested beside
# them.
report() {
    echo "\$ vellum-report $*"
    vellum-report "$@"
    echo "exit code $?"
}

report --version
for words in --help -h help; do
    vellum-report $words >"help $words" && cmp "help --help" "help $words"
done
cat "help --help"
vellum-report 2>no_words
echo "exit code $?"
cmp "help --help" no_words
report run --help
for words in --help -h help 'x --help'; do
    # shellcheck disable=SC2086 # some are two words
    vellum-report capture $words >"help capture $words"
    cmp "help capture --help" "help capture $words"
done
cat "help capture --help"

title "arguments that are not understood, and what may have been meant"
for words in rum run 'run --validate' 'run --jsn x -- --validate' 'run --json' 'run --device absent -- --validate' \
    'run --summary --json - -- --validate' capture 'capture here --reference-log clean.bin' 'capture here there' \
    'capture here --fil' 'explain pcr-difers' 'explain pcr-differs seal-broken'; do
    # shellcheck disable=SC2086 # each is a command line
    report $words 2>&1
done
[ ! -e there ] && [ ! -e here ] && [ ! -e x ] || echo "something was made"

title "what was typed is shown so that it steers nothing"
touch file
odd=$'file/line\n\e[1Aend'
for words in '' run explain capture 'run --device'; do
    # shellcheck disable=SC2086 # some are two words, one is none
    vellum-report $words "$odd" 2>&1 | sed -n 1p
done

title "a short report"
forge
report run --summary --device device -- --validate -c device/kxl.ini 2>/dev/null
forge forged-log
report run --summary --device device -- --validate -c device/kxl.ini 2>/dev/null
report run --summary --device device -- --validate -c absent.ini 2>/dev/null
