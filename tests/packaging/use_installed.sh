#!/bin/sh
# Builds the shipped examples, of C99 and of C++, against an installed library as its users would, by CMake, by pkg-config
# and by plain command line, runs what comes out, and verifies the library. Usage:
#   use_installed.sh PREFIX FOLDER [CMAKE_ARGUMENT...]
# PREFIX may have been moved. FOLDER is for what is built. The compilers may be named in CC and CXX. For another system or
# processor, what runs the programs is in RUN.
set -eu
prefix=$1 folder=$2
shift 2
: "${CC:=cc}" "${CXX:=c++}" "${RUN:=}"
here=$(cd "$(dirname "$0")" && pwd)

examples=$(dirname "$(find "$prefix" -name correct_image.c)")
pc=$(find "$prefix" -name korvex_kvi_color_processing.pc)
include=$(dirname "$(find "$prefix" -name korvex_kvi_color_processing.h)")
PKG_CONFIG_LIBDIR=$(dirname "$pc")
export PKG_CONFIG_LIBDIR
libraries=$(dirname "$PKG_CONFIG_LIBDIR")
windows=$(find "$prefix" -name '*.dll' | head -n 1)
mkdir -p "$folder/by cmake" "$folder/by hand"

# The cross compiler's toolchain file shuts out prefixes.
where=-DCMAKE_PREFIX_PATH=$prefix
if [ -n "$RUN" ]; then
    where=-Dkorvex_kvi_color_processing_DIR=$libraries/cmake/korvex_kvi_color_processing
fi
cmake -S "$here/host" -B "$folder/by cmake" -G Ninja "$where" -DKX_EXAMPLES="$examples" \
    -DKX_VERSION="$(pkg-config --modversion korvex_kvi_color_processing)" \
    -DKX_WITH_PKG_CONFIG="$([ -n "$RUN" ] && echo OFF || echo ON)" "$@"
cmake --build "$folder/by cmake"

flags=$(pkg-config --cflags --libs korvex_kvi_color_processing)
link=-l:korvex_kvi_color_processing.so
threads=-pthread
if [ -n "$windows" ]; then
    # With the compiler's runtime in the program, which would have to find it as well.
    threads=-static
    link=-Wl,-Bdynamic,-lkorvex_kvi_color_processing,-Bstatic
    flags="-Wl,-Bdynamic $flags -Wl,-Bstatic"
fi
cd "$folder/by hand"
eval "\$CC -std=c99 -Wall -Wextra -Wpedantic -Werror \"\$examples/correct_image.c\" $flags -o pkg_config_c.exe"
eval "\$CXX -std=c++17 -Wall -Wextra -Wpedantic -Werror \"\$examples/convert_in_bands.cpp\" $flags \$threads" \
    -o pkg_config_cpp.exe
"$CC" -std=c99 -I"$include" "$examples/correct_image.c" -L"$libraries" "$link" -o plain_c.exe
"$CXX" -std=c++17 -I"$include" "$examples/convert_in_bands.cpp" -L"$libraries" "$link" "$threads" -o plain_cpp.exe
if [ -n "$windows" ]; then
    # By the import library for Visual C++.
    "$CC" -std=c99 -I"$include" "$examples/correct_image.c" "$libraries/korvex_kvi_color_processing.lib" -o visual_c.exe
fi

# Where the libraries are is written only into what CMake builds.
for program in "$folder/by cmake"/host_* ./*.exe; do
    # shellcheck disable=SC2086 # a command and its arguments
    if [ -n "$windows" ]; then
        cp "$prefix"/bin/*.dll "$(dirname "$program")"
        printed=$($RUN "$program" | tr -d '\r')
    elif [ "${program##*.}" = exe ]; then
        printed=$(LD_LIBRARY_PATH=$libraries $RUN "$program")
    else
        printed=$($RUN "$program")
    fi
    case $printed in
    "red 59, green 29, blue 7" | "The bands give the same picture.") ;;
    *)
        echo "$program printed: $printed" >&2
        exit 1
        ;;
    esac
done

# Programs are not there when the library was built as a part of another project.
if [ -d "$prefix/bin" ]; then
    # shellcheck disable=SC2086
    $RUN "$(find "$prefix/bin" -name 'kx_verify*')"
fi
