#!/bin/sh
# Has the cards that the tool writes read by two independent readers: ical.js of npm, and vobject of Debian's python3-vobject.
#
#   card_readers.sh NALVO FOLDER
#
# Each card below FOLDER (*.vcf) becomes a contact and a card again, and both readers have to take it and find the same in it.
# ical.js is installed into a temporary folder. Without npm, the registry or vobject the check is passed over (exit code 77).
set -eu
nalvo=$(realpath "$1")
folder=$(realpath "$2")
here=$(cd "$(dirname "$0")" && pwd)
command -v npm >/dev/null || { echo "passed over: no npm"; exit 77; }
/usr/bin/python3 -c "import vobject" 2>/dev/null || { echo "passed over: no vobject"; exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp "$here/card_readers.mjs" "$scratch/"
(cd "$scratch" && npm init -y >/dev/null && npm install --silent ical.js@2 >/dev/null) ||
  { echo "passed over: the package can't be installed"; exit 77; }
/usr/bin/python3 "$here/card_readers.py" "$nalvo" "$folder" "$scratch"
