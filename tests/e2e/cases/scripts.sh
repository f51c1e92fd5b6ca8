# Every script that a person runs tells its usage, wherever it is started, and refuses what it does not understand.
cd "$E2E_DIR/../.." || exit
for script in .ci/run demo check scripts/check-* scripts/house-rules scripts/under-wine scripts/windows-deps tests/e2e/run \
    tests/e2e/emulator tests/e2e/hardening tests/e2e/readme; do
    for word in --help -h help; do
        # shellcheck disable=SC2069 # only what goes to standard error is shown
        (cd "$(dirname "$script")" && "./$(basename "$script")" $word) 2>&1 >/dev/null || echo "$script $word: exit code $?"
    done
    [ "$(cd tests && "../$script" --help | wc -l)" -gt 0 ] || echo "$script says nothing"
done

title "what is not understood"
for words in 'scripts/check-bench now' 'scripts/check-fuzz soon' 'scripts/check-soak' 'scripts/house-rules all' \
    'scripts/windows-deps x' 'scripts/under-wine' 'tests/e2e/run' 'tests/e2e/run src no_such_case'; do
    $words 2>&1 >/dev/null | sed 's/; the cases are: .*//'
    echo "exit code ${PIPESTATUS[0]}"
done
