#!/bin/sh
# Has what the tool makes read by an independent reader of npm.
#
#   npm_reader.sh CHECK PACKAGE NALVO FOLDER
#
# CHECK, a program beside this one, runs in a temporary folder into which PACKAGE is installed, and compares what the reader
# sees of FOLDER. Without npm or the registry the check is passed over (exit code 77).
set -eu
check=$1
package=$2
nalvo=$(realpath "$3")
folder=$(realpath "$4")
here=$(cd "$(dirname "$0")" && pwd)
command -v npm >/dev/null || { echo "passed over: no npm"; exit 77; }
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cp "$here/$check" "$scratch/"
(cd "$scratch" && npm init -y >/dev/null && npm install --silent "$package" >/dev/null) ||
  { echo "passed over: the package can't be installed"; exit 77; }
node "$scratch/$check" "$nalvo" "$folder"
