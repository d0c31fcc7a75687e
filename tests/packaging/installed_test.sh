#!/bin/sh
# Installs a build, moves it and uses it there. Usage:
#   installed_test.sh BUILD_FOLDER FOLDER [CMAKE_ARGUMENT...]
set -eu
build=$1 folder=$2
shift 2
rm -rf "$folder"
cmake --install "$build" --prefix "$folder/first place"
mv "$folder/first place" "$folder/the place"
sh "$(dirname "$0")/use_installed.sh" "$folder/the place" "$folder/hosts" "$@"
