# Completion for bash: the command knows its options, controls and presets.
_focusfall() {
    local words typed
    read -a words <<<"${COMP_LINE:0:COMP_POINT}"  # without -r: "Airy\ Disk" is one word
    [ "${COMP_LINE:COMP_POINT-1:1}" = ' ' ] && words+=('')
    mapfile -t COMPREPLY < <("$1" complete -- "${words[@]:1}" 2>/dev/null)

    # bash takes what ends in = or : for a word of its own, and keeps it
    typed=${words[-1]}
    typed=${typed%"${typed##*[=:]}"}
    COMPREPLY=("${COMPREPLY[@]#"$typed"}")
    [[ $COMPREPLY == *= ]] && compopt -o nospace
    [ ${#COMPREPLY[@]} = 1 ] && printf -v COMPREPLY %q "$COMPREPLY"
}
complete -o default -F _focusfall focusfall  # default: names of files, when there is no reply
