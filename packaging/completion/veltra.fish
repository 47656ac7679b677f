# Completion of veltra's command lines in fish. The program itself says what may come next;
# where it says nothing, names of files do.
function __veltra_complete
    set -l words (commandline -opc)
    set -l program $words[1]
    set -e words[1]
    set -l current (commandline -ct)
    set -l candidates ($program __complete $words "$current" 2>/dev/null)
    if test (count $candidates) -gt 0
        printf '%s\n' $candidates
    else
        __fish_complete_path "$current"
    end
end
complete -c veltra -f -a '(__veltra_complete)'
