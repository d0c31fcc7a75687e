#!/bin/sh
# Builds the library as a part of another project, runs what links it, then installs the library from there into the
# folder that Debian would take, moves that and uses it. Usage:
#   subproject_test.sh SOURCE_FOLDER FOLDER [CMAKE_ARGUMENT...]
set -eu
sources=$1 folder=$2
shift 2
rm -rf "$folder"
cmake -S "$sources/tests/packaging/host" -B "$folder/build" -G Ninja -DKX_SOURCES="$sources" \
    -DKX_EXAMPLES="$sources/examples" -DCMAKE_BUILD_TYPE=Debug -DKX_VARIABLE_KERNELS=ON \
    -DKX_INSTALL=ON -DCMAKE_INSTALL_LIBDIR=lib/x86_64-linux-gnu "$@"
if grep -q -e -Werror "$folder/build/build.ninja"; then
    echo "Warnings are errors." >&2
    exit 1
fi
cmake --build "$folder/build" --target host_c
printed=$("$folder/build/host_c")
[ "$printed" = "red 59, green 29, blue 7" ] || { echo "The host printed: $printed" >&2; exit 1; }
cmake --build "$folder/build"
sh "$sources/tests/packaging/installed_test.sh" "$folder/build" "$folder/installed"
