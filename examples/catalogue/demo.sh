#!/usr/bin/env bash
# Shows the client at work: records FOLDER twice, changes a copy of one of its files, and asks every question.
#
#   demo.sh PROGRAM [FOLDER]     (default: /usr/include)
#
# FOLDER is only read, whatever its size. What is changed is a copy of the small files at one place in it, made in a
# temporary folder that goes at the end together with the catalogue.
set -euo pipefail

readonly LINES_SHOWN=16

fail() {
    printf 'demo.sh: %s\n' "$*" >&2
    exit 2
}

title() { printf '\n==== %s\n' "$*"; }

# Shows a command line and runs it. Exit code 1 is an answer, too: some entries could not be read, nothing was found.
run() {
    printf '\n$ %s\n' "${*/#"$program"/${program##*/}}"
    "$@" || [[ $? -eq 1 ]]
}

ask() {
    run "$program" --catalogue "$catalogue" "$@" | awk -v most="$LINES_SHOWN" '
        NR <= most
        END { if (NR > most) printf "… %d more lines\n", NR - most }'
}

# A small file that can be read: best at the top of FOLDER, else anywhere below it.
find_file() {
    local depth
    for depth in 1 1000; do
        find "$folder" -maxdepth "$depth" -type f -readable -size -1024k -print -quit 2>/dev/null || true
    done | sed -n 1p
}

[[ $# -ge 1 ]] || fail "usage: demo.sh PROGRAM [FOLDER]"
program=$1
folder=$(realpath -- "${2:-/usr/include}")
[[ -x $program ]] || fail "$program is no program"
[[ -d $folder ]] || fail "$folder is no folder"

work=$(mktemp -d "${TMPDIR:-/tmp}/catalogue-demo.XXXXXX")
trap 'rm -rf "$work"' EXIT
catalogue=$work/catalogue.db

title "Record $folder, then once more: nothing has changed"
run "$program" --catalogue "$catalogue" record "$folder"
run "$program" --catalogue "$catalogue" record "$folder"

file=$(find_file)
[[ -n $file ]] || fail "$folder holds no file smaller than 1 MiB that can be read: nothing to change"
name=${file##*/}
copy=$work/copy

title "Record a copy of the files in ${file%/*}, touch one, remove one, and record it again"
mkdir "$copy"
find "${file%/*}" -maxdepth 1 -type f -readable -size -1024k -exec cp -p -t "$copy" -- {} +
printf 'A file that goes.\n' >"$copy/goes.txt"
run "$program" --catalogue "$catalogue" record "$copy"
run touch "$copy/$name"
run rm "$copy/goes.txt"
run "$program" --catalogue "$catalogue" record "$copy"

title "What the catalogue knows"
ask list "$folder"
ask list "$copy/$name"
ask list "$copy/$name" --at "$(date -u -d '1 minute ago' +%Y-%m-%dT%H:%M:%S)"
ask versions "$copy/$name"
ask find "${name%.*}"
ask find goes.txt
ask find no-such-name
run "$program" --catalogue "$catalogue" report

title "What a purge would take, and takes"
ask purge --keep 1 --dry-run "$copy"
ask purge --keep 1 "$copy"

title "The same copy as a generation: recorded, changed, recorded, and listed at both times"
generation=$work/generation.db
printf 'A file that goes.\n' >"$copy/goes.txt"
run "$program" generation "$generation" record "$copy"
sleep 1 # restore points are told apart by whole seconds
first=$(date -u +%Y-%m-%dT%H:%M:%S)
sleep 1
rm "$copy/goes.txt"
printf 'A change.\n' >>"$copy/$name"
run "$program" generation "$generation" record "$copy"
run "$program" generation "$generation" list --at "$first" "$copy/goes.txt" "$copy/$name"
run "$program" generation "$generation" list --deleted "$copy/goes.txt" "$copy/$name"
