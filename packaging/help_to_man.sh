#!/bin/bash
# Writes a tool's manual page from its --help texts: the tool's own and that
# of every subcommand, found through the "Subcommands:" lists, each quoted
# verbatim. The page cannot say anything --help does not, except the FILES
# and SEE ALSO sections appended from TAIL. Every --help must hold an example and the
# exit statuses, or no page is written.
#   help_to_man.sh NAME VERSION TAIL OUT -- COMMAND... (the tool, maybe under an emulator)
set -euo pipefail
name=$1 version=$2 tail=$3 out=$4
shift 5
tool=("$@")

roff() {  # verbatim text, safe for roff
    sed -e 's/\\/\\e/g' -e 's/-/\\-/g' -e "s/^\\([.']\\)/\\\\\&\\1/"
}

help_of() {  # subcommand words...
    local text
    text=$("${tool[@]}" "$@" --help) || { echo "$name $*: --help failed" >&2; exit 1; }
    for needed in "Example: " "Exit status: "; do
        grep -q "^$needed" <<<"$text" || { echo "$name $* --help: no '$needed' line" >&2; exit 1; }
    done
    printf '%s\n' "$text"
}

subcommands_of() {  # help text on stdin: the names under "Subcommands:"
    awk '/^Subcommands:$/ { inside = 1; next } inside && /^$/ { exit } inside && /^  [a-z]/ { print $1 }'
}

sections() {  # help text, subcommand words...: a section for each subcommand below them
    local parent=$1 sub text
    shift
    for sub in $(subcommands_of <<<"$parent"); do
        text=$(help_of "$@" "$sub")
        printf '.SS "%s"\n.nf\n' "$name $* $sub" | sed 's/  */ /g'
        roff <<<"$text"
        printf '.fi\n'
        sections "$text" "$@" "$sub"
    done
}

top=$(help_of)
summary=$(head -1 <<<"$top" | sed -e "s/^$name: //" -e 's/\.$//')
{
    printf '.TH %s 1 "" "zelto_sdk %s" "User Commands"\n' "$(tr a-z A-Z <<<"$name")" "$version"
    printf '.SH NAME\n%s \\- %s\n' "$name" "$(roff <<<"$summary")"
    printf '.SH DESCRIPTION\n.nf\n'
    roff <<<"$top"
    printf '.fi\n.SH COMMANDS\n'
    sections "$top"
    cat "$tail"
} >"$out.tmp"
mv "$out.tmp" "$out"
