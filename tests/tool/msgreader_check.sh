#!/bin/sh
# Compares what the tool shows of .msg files with what an independent reader sees, the npm package @kenjiuno/msgreader.
#
#   msgreader_check.sh NALVO FOLDER
#
# The package is installed into a temporary folder. Without npm or the registry the check is passed over (exit code 77).
set -eu
nalvo=$1
folder=$2
here=$(cd "$(dirname "$0")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
command -v npm >/dev/null || { echo "passed over: no npm"; exit 77; }
cp "$here/msgreader_check.mjs" "$scratch/"
(cd "$scratch" && npm init -y >/dev/null && npm install --silent @kenjiuno/msgreader@1.28.0 >/dev/null) ||
  { echo "passed over: the package can't be installed"; exit 77; }
node "$scratch/msgreader_check.mjs" "$nalvo" "$folder"
