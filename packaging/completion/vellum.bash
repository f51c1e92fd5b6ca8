# What bash completes of vellum, vellum-report and vellum-lab. The rows, which the programs print of themselves, stand
# below: for each command a line an option, as "--json file", or for the words without one.

declare -gA _vellum_rows

# _vellum_row COMMAND NAME: the row's words behind the name, if the command has such a row.
_vellum_row() {
    local name rest
    while read -r name rest; do
        [[ $name == "$2" ]] && { echo "$rest"; return 0; }
    done <<<"${_vellum_rows[$1]}"
    return 1
}

# _vellum_names COMMAND MARK: what the rows with this mark hold, or without a mark every option.
_vellum_names() {
    local name rest
    while read -r name rest; do
        case $name in
            -?*) [[ -n ${2-} ]] || echo "$name" ;;
            *) [[ -z ${2-} || $name != "$2" ]] || echo "$rest" ;;
        esac
    done <<<"${_vellum_rows[$1]}"
}

# _vellum_offer CURRENT KIND [VALUE...]: what a value of this kind can be.
_vellum_offer() {
    local current=$1 kind=$2
    shift 2
    case $kind in
        file | directory)
            compopt -o filenames 2>/dev/null
            if [[ $kind == file ]]; then
                mapfile -t COMPREPLY < <(compgen -f -- "$current")
            else
                mapfile -t COMPREPLY < <(compgen -d -- "$current")
            fi
            ;;
        *) mapfile -t COMPREPLY < <(compgen -W "$*" -- "$current") ;;
    esac
}

# _vellum_step: takes one word before the one that is completed, into the caller's variables. "command" is the road of
# commands so far, "kind" what the word before asks for.
_vellum_step() {
    if [[ -n $kind ]]; then
        kind=
    elif [[ " $(_vellum_names "$command" + | tr '\n' ' ')" == *" $word "* ]]; then
        command+=" $word"
    elif [[ $word == -- ]] && row=$(_vellum_row "$command" --); then
        command=$row
    elif [[ $word == -* ]]; then
        kind=$(_vellum_row "$command" "$word")
    elif row=$(_vellum_row "$command" ::); then
        command=$row
    fi
}

_vellum() {
    local current=${COMP_WORDS[COMP_CWORD]} command=${1##*/} kind='' word row IFS=$' \t\n'
    COMPREPLY=()
    # A shell parts "--name=value" into three words.
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        [[ $word == = ]] || _vellum_step
    done
    [[ $current != = ]] || current=
    if [[ -n $kind ]]; then
        # shellcheck disable=SC2086 # the kind and the values are words
        _vellum_offer "$current" $kind
    elif [[ $current == -* ]]; then
        _vellum_offer "$current" value "$(_vellum_names "$command")"
    elif row=$(_vellum_row "$command" :); then
        # shellcheck disable=SC2086
        _vellum_offer "$current" $row
    else
        row=$(_vellum_names "$command" +)
        _vellum_offer "$current" value "${row:-$(_vellum_names "$command")}"
    fi
}

complete -F _vellum vellum vellum-report vellum-lab
