#!/bin/sh
# Has the calendars that the tool writes read by an independent reader, ical.js of npm.
#
#   event_readers.sh NALVO FOLDER
#
# Each calendar below FOLDER (*.ics) becomes items and calendars again, which the reader has to take. It is installed into a
# temporary folder. Without npm or the registry the check is passed over (exit code 77).
set -eu
nalvo=$(realpath "$1")
folder=$(realpath "$2")
here=$(cd "$(dirname "$0")" && pwd)
command -v npm >/dev/null || { echo "passed over: no npm"; exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp "$here/event_readers.mjs" "$scratch/"
(cd "$scratch" && npm init -y >/dev/null && npm install --silent ical.js@2 >/dev/null) ||
  { echo "passed over: the package can't be installed"; exit 77; }
# A damaged calendar is told and passed over.
"$nalvo" to-mapi -q -o "$scratch/items" "$folder" 2>/dev/null || [ $? -eq 1 ]
"$nalvo" to-mime -q --object only -o "$scratch/calendars" "$scratch/items" 2>/dev/null || [ $? -eq 1 ]
node "$scratch/event_readers.mjs" "$scratch/calendars"
