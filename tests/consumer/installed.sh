#!/bin/sh
# Builds and runs these hosts from the installed packages alone, and the smallest one with pkg-config too.
# usage: installed.sh FOLDER   (to build in)
set -eu
source=$(dirname "$(realpath "$0")")
plugin=$(ls /usr/lib/*/canservice/libkelmo_Toyota.so)
cmake -S "$source" -B "$1" -D PLUGIN_FILE="$plugin"
cmake --build "$1"
cd "$1"
ctest --output-on-failure

cd shown
sh -e with-pkg-config.sh
told=$(printf '\056\044\002\100\000\231' | ./host "$plugin" 2>&1 >/dev/null)
[ "$told" = "doors 40" ] || { echo "the host built with pkg-config told '$told'" >&2; exit 1; }
