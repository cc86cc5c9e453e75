#!/usr/bin/env bash
# Puts the files of uPlot, the report's plot library, where the report takes them from: out of its npm
# package, in the version and with the sums of uplot.sha256. They are committed, for a build needs neither
# npm nor a network; this is for another version, and shows where they came from.
set -euo pipefail
cd "$(dirname "$0")"

version=1.6.32
target=$PWD/../python/harmotrack/report/assets/uplot
sums=$PWD/uplot.sha256

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
cd "$folder"
npm pack --silent "uplot@$version" >/dev/null
tar -xzf "uplot-$version.tgz"
mkdir files
cp package/LICENSE package/dist/uPlot.iife.min.js package/dist/uPlot.min.css files
cd files
sha256sum --strict --check "$sums"
cp -- * "$target"
