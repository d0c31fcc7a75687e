#!/bin/sh
# Installs a build, moves it, uses and verifies it there, then spoils it: kx_verify must name what differs. Usage:
#   installed_test.sh BUILD_FOLDER FOLDER [STAND_IN_FOR_A_VECTOR_MODULE [CMAKE_ARGUMENT...]]
set -eu
build=$1 folder=$2 stand_in=${3:-}
shift "$(($# < 3 ? $# : 3))"
rm -rf "$folder"
cmake --install "$build" --prefix "$folder/first place"
if grep -r -F "$(cd "$(dirname "$0")/../.." && pwd)" "$folder/first place"; then
    echo "These files say where they were built." >&2
    exit 1
fi
mv "$folder/first place" "$folder/the place"
sh "$(dirname "$0")/use_installed.sh" "$folder/the place" "$folder/hosts" "$@"

if [ -z "$stand_in" ]; then
    exit 0
fi
name=$(basename "$stand_in")
level=${name##*_}
level=${level%.*}
module=$(find "$folder/the place" -name "$name")
cp "$stand_in" "$module"
rm "${module%/*}/korvex_kvi_logger.${name##*.}"
# shellcheck disable=SC2086 # a command and its arguments
if ${RUN:-} "$folder/the place/bin"/kx_verify* --level "$level" >"$folder/report"; then
    echo "kx_verify found nothing wrong." >&2
    exit 1
fi
for difference in "korvex_kvi_logger was not loaded" "vector_$level has another version" \
    "vector_$level exports .* kx_one_too_many" "$level: [0-9]* conversions differ" "$level: the hash is not"; do
    grep -q "^differs: .*$difference" "$folder/report" || { cat "$folder/report"; echo "Not said: $difference" >&2; exit 1; }
done
