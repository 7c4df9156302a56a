#!/bin/sh
# Compares our text of HTML bodies with what headless Chromium shows of them, document.body.innerText with scripts off.
#
#   html_text.sh PROGRAM FOLDER
#
# PROGRAM is html-text; FOLDER holds *.html and, if it has one, MANIFEST.tsv whose third column may say
# "part-charset:NAME". Prints the files that differ and two shares: equal exactly, and modulo white space. Fails below 70 % of
# the first or 95 % of the second.
# Needs Debian's chromium, and npm for playwright-core, which is installed into a temporary folder; without them, exit code 77.
set -eu
program=$(realpath "$1")
folder=$(realpath "$2")
here=$(cd "$(dirname "$0")" && pwd)
chromium=$(command -v chromium) || { echo "passed over: no chromium"; exit 77; }
command -v npm >/dev/null || { echo "passed over: no npm"; exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp "$here/html_text.mjs" "$scratch/"
(cd "$scratch" && npm init -y >/dev/null && npm install --silent playwright-core@1.56 >/dev/null) ||
  { echo "passed over: the package can't be installed"; exit 77; }
node "$scratch/html_text.mjs" "$chromium" "$program" "$folder" "$scratch"
