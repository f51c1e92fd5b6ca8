# A capture of this machine, whatever it is: it accounts for every service, and what it has recorded can be replayed.
vellum-lab capture here >account 2>errors
echo "exit code $?"

title "every line says what became of a file or a folder"
grep -cvE '^(recorded      [a-z_./]+|not recorded  [a-z_./]+: .+)$' account

title "what is accounted for"
sed -E 's/^(not )?recorded +([a-z_]+).*/\2/' account | sort -u

title "what is recorded is there, and nothing else"
diff <(sed -n 's/^recorded *//p' account | sort) <(cd here && find -type f | sed 's|^\./||' | sort)

title "its replay runs to the end"
touch empty.ini
vellum-lab replay here -- --validate -c empty.ini -o kxl.log 2>&1 | sed -n 's/ (passed.*//; s/, some.*//; /^Validation /p; $p'

title "a capture over another one"
vellum-lab capture here
echo "exit code $?"
