# Completion of vyr's commands, options and files for bash. What there is, the tool's own help tells.
_vyr() {
    local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} tool=${COMP_WORDS[0]}
    local command=${COMP_WORDS[1]}
    if [ "$COMP_CWORD" -eq 1 ]; then
        command=
    fi
    case $previous in
    --out-of-core | --report)
        mapfile -t COMPREPLY < <(compgen -d -- "$word")
        return
        ;;
    esac
    if [ -z "$command" ] || [[ $word == -* || "$command $COMP_CWORD" == "generate 2" ]]; then
        # shellcheck disable=SC2046,SC2086
        mapfile -t COMPREPLY < <(compgen -W "$(_vyr_words "$tool" $command)" -- "$word")
    else
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
    fi
}

# Options, and without a command the commands, one a line: the first words of the help's indented lines. Of
# "generate" the kinds, too.
_vyr_words() {
    "$@" --help 2>/dev/null | sed -n 's/^  \([-a-z][-a-z0-9_,]*\).*/\1/p' | tr , '\n'
}

complete -o filenames -F _vyr vyr
