#!/bin/sh
# Builds and runs this host from the installed packages alone, with CMake and with pkg-config.
# usage: installed.sh FOLDER   (an empty one, to build in)
set -eu
source=$(dirname "$(realpath "$0")")
plugin=$(ls /usr/lib/*/canservice/libkelmo_Toyota.so)

cmake -S "$source" -B "$1/cmake" -D PLUGIN_FILE="$plugin"
cmake --build "$1/cmake"
"$1/cmake/tst_consumer"

mkdir "$1/pkg-config"
cd "$1/pkg-config"
moc=$(pkg-config --variable=host_bins Qt5Core)/moc
for header in $(pkg-config --variable=moc_headers canservice); do
  "$moc" "$header" -o "moc_$(basename "$header" .h).cpp"
done
"$moc" "$source/tst_consumer.cpp" -o tst_consumer.moc
g++ -std=c++17 -fPIC -I. -DPLUGIN_FILE="\"$plugin\"" "$source/tst_consumer.cpp" moc_*.cpp \
  $(pkg-config --cflags --libs canservice Qt5Test) -o tst_consumer
./tst_consumer
