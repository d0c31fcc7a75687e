#!/bin/sh
# Builds the shipped example against an installed library as its users would, as C99 and as C++, by CMake, by pkg-config
# and by plain command line, and runs what comes out. Usage:
#   use_installed.sh PREFIX FOLDER [CMAKE_ARGUMENT...]
# PREFIX may have been moved. FOLDER is for what is built. The compilers may be named in CC and CXX. For Windows, what
# runs the programs is in RUN.
set -eu
prefix=$1 folder=$2
shift 2
: "${CC:=cc}" "${CXX:=c++}" "${RUN:=}"
here=$(cd "$(dirname "$0")" && pwd)

example=$(find "$prefix" -name correct_image.c)
pc=$(find "$prefix" -name korvex_kvi_color_processing.pc)
include=$(dirname "$(find "$prefix" -name korvex_kvi_color_processing.h)")
PKG_CONFIG_LIBDIR=$(dirname "$pc")
export PKG_CONFIG_LIBDIR
libraries=$(dirname "$PKG_CONFIG_LIBDIR")
mkdir -p "$folder/by cmake" "$folder/by hand"

cmake -S "$here/host" -B "$folder/by cmake" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DKX_EXAMPLE="$example" \
    -DKX_VERSION="$(pkg-config --modversion korvex_kvi_color_processing)" \
    -DKX_WITH_PKG_CONFIG="$([ -n "$RUN" ] && echo OFF || echo ON)" "$@"
cmake --build "$folder/by cmake"

flags=$(pkg-config --cflags --libs korvex_kvi_color_processing)
cd "$folder/by hand"
eval "\$CC -std=c99 -Wall -Wextra -Wpedantic -Werror \"\$example\" $flags -o pkg_config_c.exe"
eval "\$CXX -std=c++17 -Wall -Wextra -Wpedantic -Werror -x c++ \"\$example\" -x none $flags -o pkg_config_cpp.exe"
link=-l:korvex_kvi_color_processing.so
if [ -n "$RUN" ]; then
    link=-lkorvex_kvi_color_processing
fi
"$CC" -std=c99 -I"$include" "$example" -L"$libraries" "$link" -o plain_c.exe
"$CXX" -std=c++17 -I"$include" -x c++ "$example" -x none -L"$libraries" "$link" -o plain_cpp.exe

# Where the libraries are is written only into what CMake builds.
for program in "$folder/by cmake"/host_* ./*.exe; do
    if [ -n "$RUN" ]; then
        cp "$prefix"/bin/*.dll "$(dirname "$program")"
        # shellcheck disable=SC2086 # a command and its arguments
        printed=$($RUN "$program" | tr -d '\r')
    elif [ "${program##*.}" = exe ]; then
        printed=$(LD_LIBRARY_PATH=$libraries "$program")
    else
        printed=$("$program")
    fi
    if [ "$printed" != "red 59, green 29, blue 7" ]; then
        echo "$program printed: $printed" >&2
        exit 1
    fi
done
