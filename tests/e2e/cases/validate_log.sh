# The log file of a whole validation at its default level, and what the console says at level 3 beyond or instead.
. "$E2E_DIR/validate_helpers.sh"
# shellcheck disable=SC2119 # without an option on purpose
forge
validate -v 3 >console
cat kxl.log

title "the console at level 3, against the log file without its prefixes"
sed -E 's/^.{24} \[[A-Z]+\]: +//; s/ +$//' kxl.log >plain
sed -E 's/^ +//; s/ +$//' console | diff <(sed -E 's/^ +//' plain) -
