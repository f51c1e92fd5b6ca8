# A capture of this machine, whatever it is: it accounts for every service, and what it has recorded can be replayed.
vellum-report capture here >account 2>errors
code=$?

title "the exit code and the last line agree with the lines before"
cannot=$(grep -c '^cannot judge  ' account)
case "$code $(tail -n 1 account)" in
    "0 can judge     all 27 stages") [ "$cannot" -eq 0 ] ;;
    "1 can judge     0 of 27 stages") [ "$cannot" -eq 27 ] ;;
    "4 can judge     $((27 - cannot)) of 27 stages") [ "$cannot" -gt 0 ] && [ "$cannot" -lt 27 ] ;;
    *) false ;;
esac && echo "they do"

title "every line says what became of a file or a folder, or of a stage"
grep -cvE '^(recorded      [a-z_./]+|not recorded  [a-z_./]+: .+|cannot judge  [][A-Za-z0-9(), -]+: .+|can judge     .*)$' account

title "what is accounted for"
sed -nE 's/^(not )?recorded +([a-z_]+).*/\2/p' account | sort -u

title "what is recorded is there, and nothing else"
diff <(sed -n 's/^recorded *//p' account | sort) <(cd here && find . -type f | sed 's|^\./||' | sort)

title "its replay runs to the end"
touch empty.ini
vellum-lab replay here -- --validate -c empty.ini -o kxl.log 2>&1 | sed -n 's/ (passed.*//; s/, some.*//; /^Validation /p; $p'

title "a capture over another one"
vellum-report capture here
echo "exit code $?"
