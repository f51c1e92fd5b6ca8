# The reports of a few devices in one database, and what vellum-report says of it.
fleet() {
    echo "\$ vellum-report fleet $*"
    vellum-report fleet "$@" 2>&1
    echo "exit code $?"
}

mkdir reports
for fault in seal-log-future boot-loader pmf-expired; do
    forge "$fault"
    vellum-report run --json "reports/$fault.json" --device device -- --validate -c device/kxl.ini >/dev/null 2>&1
done

title "taken in once, from files and from lines"
# One after the other, as two that come at once are numbered as they come.
for fault in seal-log-future boot-loader pmf-expired; do
    fleet fleet.db "reports/$fault.json"
done
fleet fleet.db reports reports/absent.json
tr -d '\r\n' <reports/boot-loader.json | fleet fleet.db -
fleet fleet.db

title "one device"
fleet fleet.db --device 00112233-4455-6677-8899-AABBCCDDEEFF
fleet fleet.db --drift UUID:00112233-4455-6677-8899-AABBCCDDEEFF --from 1
fleet fleet.db --drift nobody

title "forms"
# Without the host, which is this one.
fleet fleet.db --csv - --now 2026-03-05 | tr -d '\r' | cut -d , -f 1-12,14-
fleet fleet.db --metrics - --now 2026-03-12 | grep -v _taken_
fleet fleet.db --html page.html --json - --now 2026-03-12 | grep -c first_seen
grep -c '<h1' page.html

title "what must not be written"
fleet fleet.db --html fleet.db
fleet fleet.db --html page.html --csv ./page.html
fleet "" -

title "forgotten"
fleet fleet.db --forget 00112233-4455-6677-8899-AABBCCDDEEFF
fleet fleet.db --forget 00112233-4455-6677-8899-AABBCCDDEEFF
fleet fleet.db

title "no database of a fleet"
echo "something else" >other.db
fleet other.db
fleet other.db reports
cat other.db
fleet absent.db
[ ! -e absent.db ] || echo "a database was made for a question"

title "arguments"
fleet
fleet fleet.db --csv - --json -
fleet fleet.db --not-seen-days many
fleet fleet.db --now tomorrow
fleet --help
