# What vellum-lab says of itself, and which directories it writes into.
lab() {
    echo "\$ vellum-lab $*"
    vellum-lab "$@"
    echo "exit code $?"
}

lab --version
for words in --help -h help; do
    vellum-lab $words >"help $words" && cmp "help --help" "help $words"
done
cat "help --help"
vellum-lab 2>no_words
echo "exit code $?"
cmp "help --help" no_words
for command in replay forge seal inspect sample-logs; do
    vellum-lab $command --help >"help $command"
    echo "$command --help: exit code $?, $(wc -l <"help $command") lines, $(grep -vxFc -f "help --help" "help $command") of its own"
    for words in -h help 'x --help'; do
        # shellcheck disable=SC2086 # some are two words
        [[ "$command $words" = [ri]*' x --help' ]] || vellum-lab $command $words | cmp - "help $command"
    done
done
[ ! -e x ] && [ ! -e help ] || echo "something was made"

lab forge made
lab forge made --fault no-interface
lab sample-logs logs/of/two_boots
ls logs/of/two_boots

# verdict IN DIR INI: of the device in DIR with this configuration file, for a program that is started in IN.
verdict() {
    (cd "$1" && vellum-lab replay "$2" --validate -c "$3" -l 0 2>&1) | grep -E '^ .*(certificate|[Dd]irectory)|^Validation'
}

title "a device validates wherever it lies and vellum is started"
vellum-lab forge tl3 --level TL3 >/dev/null
mkdir -p deep/here elsewhere
moved=deep/moved::device  # which looks like a token in a path
[ "${E2E_SYSTEM:-}" != windows ] || moved=deep/moved
mv made "$moved"
for device in tl3 "$moved"; do
    verdict . "$device" "$device/kxl.ini"
    verdict "$device" . kxl.ini
    verdict "$device" . ./kxl.ini
    verdict deep/here "$PWD/$device" "../../$device/kxl.ini"
done
title "paths in a configuration file elsewhere begin where vellum is started"
cp tl3/kxl.ini elsewhere
verdict . tl3 elsewhere/kxl.ini
verdict tl3 . ../elsewhere/kxl.ini
title "absolute paths stay what they are"
for path in /absent 'C:\absent' 'c:absent' '\\server\absent' absent; do
    sed -i "s|^TrustedCaDir=.*|TrustedCaDir=${path//\\/\\\\}|" tl3/kxl.ini
    verdict . tl3 tl3/kxl.ini
done
title "so do paths on the command line"
vellum-lab replay tl3 --validate -c tl3/kxl.ini -l 0 --tl3_seal_identity_verification_file=tl3_identity.csv 2>&1 | grep tl3_

title "arguments that are not understood, and what may have been meant"
for words in forg forge 'forge --list-falts' capture 'capture here --fil' \
    'forge there --level' 'forge there --level=TL2' 'forge there --device-id=serial' 'forge there --levle TL1' \
    'forge there --fault boot-lodr' 'forge there --fault sku' 'forge there --fault xyz'; do
    # shellcheck disable=SC2086 # each is a command line
    lab $words 2>&1 | grep -v '^ '
done
[ ! -e there ] && [ ! -e here ] || echo "something was made"

title "faults by name, text or stage"
lab forge --list-faults BOOT-LOADER
lab forge --list-faults "PCR 5"
lab forge --list-faults "hash matches Seal Log hash"
lab forge --list-faults boot-lodr
[ "$(vellum-lab forge --list-faults | grep -c '^ ')" -ge "$(vellum-lab forge --list-faults | grep -cv '^ ')" ] || echo "a fault has no stage"

title "every plan that is taken makes a device that validates"
for level in TL1 TL3; do
    for seal in on off; do
        for pmf in on off; do
            for ironwall in on off; do
                plan="--level $level --seal-signing $seal --pmf-signing $pmf --ironwall $ironwall"
                rm -rf planned
                # shellcheck disable=SC2086 # the options of the plan
                vellum-lab forge planned $plan >/dev/null 2>refusal || echo "$plan: exit code $? $(cat refusal)"
                [ ! -d planned ] || verdict . planned planned/kxl.ini | sed "s/^/$plan: /"
            done
        done
    done
done

title "the command that validates a device, for a shell"
for name in 'with blank' "with 'quote'" '$(touch made)' 'plain'; do
    command=$(vellum-lab forge "$name" --device-id OEM_DEFINED_BLOB)
    echo "$command"
    eval "$command -l 0" 2>&1 | grep ^Validation
done

title "what was typed is shown so that it steers nothing"
odd=$'line\n\e[1Aend'
for words in replay sample-logs forge; do
    vellum-lab $words "tl3/kxl.ini/$odd" 2>&1 | sed 's/": .*/"/; s/end: .*/end/'
done
vellum-lab forge there "--$odd" "$odd" 2>&1 | sed -n 1,2p
