# What vellum-lab says of itself, and which directories it writes into.
lab() {
    echo "\$ vellum-lab $*"
    vellum-lab "$@"
    echo "exit code $?"
}

lab --version
for words in --help -h help 'forge --help' 'inspect -h'; do
    vellum-lab $words >"help $words" && cmp "help --help" "help $words"
done
cat "help --help"
vellum-lab 2>no_words
echo "exit code $?"
cmp "help --help" no_words

lab forge made
lab forge made --fault no-interface
lab sample-logs logs/of/two_boots
ls logs/of/two_boots

title "what was typed is shown so that it steers nothing"
odd=$'line\n\e[1Aend'
for words in replay sample-logs forge capture; do
    vellum-lab $words "made/kxl.ini/$odd" 2>&1 | sed 's/": .*/"/; s/end: .*/end/'
done
vellum-lab forge there "--$odd" "$odd" 2>&1 | sed -n 1,2p
