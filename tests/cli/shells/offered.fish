# Prints what fish offers behind each line of the standard input: "LINE ...", then a line for each word.
# Usage: fish offered.fish FOLDER_OF_SCRIPTS
source $argv[1]/fish/vendor_completions.d/radvex.fish
while read --local line
    echo "LINE $line"
    complete -C "$line" | string replace --regex '\t.*' ''
end
exit 0 # of the last line nothing may be offered
