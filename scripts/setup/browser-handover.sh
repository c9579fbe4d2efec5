#!/bin/sh
# Stands in for a browser: Wine runs it with the address that a program asked Windows to open. Where the address goes,
# the test says in ZELTO_BROWSER_FIFO: a FIFO or a file, to which it is written as one line. It runs in the folder of
# the ARM64 Wine as well, where there is little more than this shell.
[ -n "${ZELTO_BROWSER_FIFO:-}" ] || exit 1
printf '%s\n' "$1" >>"$ZELTO_BROWSER_FIFO"
