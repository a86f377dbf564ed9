# Completion of corvanectl in bash. The commands and options are asked of the program itself.

_corvanectl_words() {
    "$1" "${@:2}" --help 2>/dev/null | sed -n '
        s/^  -[^-]*,\(--[a-z-]*\).*/\1/p
        s/^  \(--[a-z-]*\).*/\1/p
        /^Subcommands:/,/^$/s/^  \([a-z]\{1,\}\) .*/\1/p'
}

_corvanectl() {
    local word="${COMP_WORDS[COMP_CWORD]}" before="${COMP_WORDS[COMP_CWORD - 1]}" verb="${COMP_WORDS[1]:-}"
    if ((COMP_CWORD == 1)); then
        mapfile -t COMPREPLY < <(compgen -W "$(_corvanectl_words "$1")" -- "$word")
    elif [[ "$before" == --root ]]; then
        mapfile -t COMPREPLY < <(compgen -d -- "$word")
    elif [[ "$word" == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$(_corvanectl_words "$1" "$verb")" -- "$word")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
}

complete -o filenames -F _corvanectl corvanectl
