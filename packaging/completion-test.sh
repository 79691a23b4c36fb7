#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Loads the bash completion of kinloom-cli as bash-completion does and asks it what Tab offers after
# each line, in a folder of a few files; the encodings and categories it offers must be the tool's.
# Usage: completion-test.sh COMPLETION_SCRIPT KINLOOM_CLI
set -uo pipefail
completion=$1
cli=$(realpath "$2")
PATH=$(dirname "$cli"):$PATH
export LC_ALL=C # the order the expected lists are in
# shellcheck source=/dev/null
source /usr/share/bash-completion/bash_completion
# shellcheck source=/dev/null
source "$completion"

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
touch tree.ged Old.GED notes.txt report.pdf
mkdir out
failures=0

# What Tab offers at the end of LINE, sorted, one line.
offered() {
    COMP_LINE=$1
    COMP_POINT=${#COMP_LINE}
    read -ra COMP_WORDS <<<"$COMP_LINE"
    [[ $COMP_LINE == *' ' ]] && COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
    COMPREPLY=()
    _kinloom_cli kinloom-cli "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    printf '%s\n' "${COMPREPLY[@]}" | sort | xargs
}

while IFS='|' read -r line expected; do
    got=$(offered "$line")
    [ "$got" = "$expected" ] || {
        printf 'FAIL: "%s" offers "%s", not "%s"\n' "$line" "$got" "$expected" >&2
        failures=$((failures + 1))
    }
done <<'CASES'
kinloom-cli |--help --version check dismiss info kinds sample tidy undismiss
kinloom-cli un|undismiss
kinloom-cli check tree.ged --f|--fail-on
kinloom-cli info -|--encoding --help --json --threads
kinloom-cli tidy tree.ged --fix dateFormats,pl|dateFormats,places
kinloom-cli tidy tree.ged --fix a|all
kinloom-cli check tree.ged --skip dupf|dupfam
kinloom-cli check tree.ged --fail-on |error warning
kinloom-cli check tree.ged --numeric-order d|day-first
kinloom-cli info tree.ged --encoding KOI|KOI8-R KOI8-U
kinloom-cli check |Old.GED out tree.ged
kinloom-cli sample |Old.GED out tree.ged
kinloom-cli check tree.ged --report |notes.txt out report.pdf
kinloom-cli tidy tree.ged --out |out
kinloom-cli sample x.ged --people |
kinloom-cli kinds |
kinloom-cli frobnicate |
CASES

# The encodings offered are the ones the tool names when it is given one it does not know, without
# their spaces, and the tool takes each as offered: it goes on to read the (missing) file.
named=$(kinloom-cli info x.ged --encoding unknown 2>&1 | sed -n 's/.*Use one of \(.*\) (in any case).*/\1/p' |
    sed 's/, /\n/g; s/ or /\n/' | tr -d ' ' | sort | xargs)
offered_encodings=$(offered 'kinloom-cli info x.ged --encoding ')
[ -n "$named" ] && [ "$offered_encodings" = "$named" ] || {
    printf 'FAIL: the encodings offered, "%s", are not the tool\x27s, "%s"\n' "$offered_encodings" "$named" >&2
    failures=$((failures + 1))
}
for encoding in $offered_encodings; do
    kinloom-cli info missing.ged --encoding "$encoding" 2>/dev/null
    [ $? -eq 3 ] || {
        echo "FAIL: kinloom-cli does not take the encoding $encoding" >&2
        failures=$((failures + 1))
    }
done
# The categories offered are the ones the tool's kinds of finding fall in.
categories=$(kinloom-cli kinds | awk '{print $2}' | sort -u | xargs -n1 echo | { cat; printf 'all\nnone\n'; } | sort | xargs)
[ "$(offered 'kinloom-cli tidy x.ged --fix ')" = "$categories" ] || {
    echo "FAIL: the categories offered are not the tool's: $categories" >&2
    failures=$((failures + 1))
}

[ "$failures" -eq 0 ] || {
    echo "$failures completion check(s) failed" >&2
    exit 1
}
echo "The completion offers what kinloom-cli takes."
