# Prints what bash offers behind each line of the standard input: "LINE ...", then a line for each word.
# Usage: bash offered.bash FOLDER_OF_SCRIPTS
source "$1/bash-completion/completions/radvex"
while IFS= read -r line; do
    read -ra COMP_WORDS <<<"$(sed 's/=/ = /g' <<<"$line")" # as bash itself splits a line
    [[ $line == *[\ =] ]] && COMP_WORDS+=('')
    [[ $line == *= ]] && unset 'COMP_WORDS[-1]'
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _radvex
    printf 'LINE %s\n' "$line"
    printf '%s\n' "${COMPREPLY[@]}"
done
