#!/bin/sh
# Has the calendars that the tool prints read by an independent reader, ical.js of npm.
#
#   calendar_readers.sh NALVO FOLDER
#
# The package is installed into a temporary folder. Without npm or the registry the check is passed over (exit code 77).
set -eu
nalvo=$(realpath "$1")
folder=$(realpath "$2")
here=$(cd "$(dirname "$0")" && pwd)
command -v npm >/dev/null || { echo "passed over: no npm"; exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp "$here/calendar_readers.mjs" "$scratch/"
(cd "$scratch" && npm init -y >/dev/null && npm install --silent ical.js@2 >/dev/null) ||
  { echo "passed over: the package can't be installed"; exit 77; }
node "$scratch/calendar_readers.mjs" "$nalvo" "$folder"
