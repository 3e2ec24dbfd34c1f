# Completion for fish: the command knows its options, controls and presets.
complete -c focusfall -a '(focusfall complete -- (commandline -opc)[2..-1] (commandline -ct) 2>/dev/null)'
