# Prints what zsh offers behind each line of the standard input: "LINE ...", then a line for each word. A shell that is
# used by hand runs in a terminal of its own, where a function prints what would be offered, unless words are only looked
# up.
# Usage: zsh -f offered.zsh FOLDER_OF_SCRIPTS
zmodload zsh/zpty
zpty inner zsh -f -i
zpty -w inner "PS1=; KEYTIMEOUT=1; LISTMAX=10000; stty -echo; fpath=(${(q)1}/zsh/site-functions \$fpath)"
zpty -w inner 'autoload -Uz compinit; compinit -u -D
compadd() {
    if [[ ${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then
        builtin compadd "$@"
        return $?
    fi
    typeset -a offered
    builtin compadd -A offered "$@"
    (( $#offered )) && print -l -- "" "OFFERED "$^offered
    builtin compadd "$@"
}
finish() { zle kill-whole-line; print "\nFINI""SHED" }
zle -N finish
bindkey "^I" complete-word
bindkey "^X" finish
echo "REA""DY"'
zpty -r inner output '*READY*'
while IFS= read -r line; do
    zpty -w -n inner "$line"$'\t\x18'
    zpty -r inner output '*FINISHED*'
    print -r -- "LINE $line"
    print -r -- "$output" | tr -d '\r' | sed -n 's/^OFFERED //p'
done
zpty -d inner
