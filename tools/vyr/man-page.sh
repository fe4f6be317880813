#!/bin/sh
# Writes vyr(1) from what the tool says of itself: help2man on the tool's help, with that of each command beside.
# usage: man-page.sh VYR OUTPUT
set -eu
vyr=$1
output=$2
commands=$("$vyr" --help | sed -n '/^Subcommands:/,/^$/s/^  \([a-z]*\) .*/\1/p')
{
    echo '[DESCRIPTION]'
    echo 'Solves A x = b for large sparse symmetric A from Matrix Market files.'
    echo '[COMMANDS]'
    for command in $commands; do
        printf '.SS "vyr %s"\n.nf\n' "$command"
        "$vyr" "$command" --help | sed -e '/^Exit codes:/d' -e 's/\\/\\\\/g' -e "s/^[.']/\\\\\\&&/" -e 's/-/\\-/g'
        echo '.fi'
    done
} >"$output.include"
help2man --no-info --name='solve large sparse symmetric systems' --include="$output.include" "$vyr" >"$output.new"
rm "$output.include"
# The date is that of the sources, where it is given, so that the same sources make the same page.
[ -n "${SOURCE_DATE_EPOCH:-}" ] || sed -i '/^\.TH /s/"[A-Z][a-z]* [0-9]*"/""/' "$output.new"
mv "$output.new" "$output"
