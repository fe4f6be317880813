#!/bin/sh
# The manual page names every command, kind and option that the help of the tool does.
# usage: check_man_page.sh VYR PAGE
set -eu
page=$(sed 's/\\f[A-Z]//g; s/\\//g' "$2")
for command in '' $("$1" --help | sed -n '/^Subcommands:/,$s/^  \([a-z]*\) .*/\1/p'); do
    for word in $("$1" $command --help | sed -n 's/^  \([-a-z][-a-z0-9_]*\).*/\1/p'); do
        printf '%s' "$page" | grep -qwe "$word" || { echo "vyr $command: no $word in $2"; exit 1; }
    done
done
