#!/bin/sh
# Looks into built modules. Usage:
#   binary_checks.sh exports LIBRARY            the nineteen functions and nothing else are exported
#   binary_checks.sh runpath MODULE...          modules find each other beside themselves, after LD_LIBRARY_PATH
#   binary_checks.sh dependencies MODULE...     nothing but the C and C++ runtime is needed
#   binary_checks.sh build_path PATH MODULE...  no trace of where they were built
#   binary_checks.sh instructions baseline|avx MODULE...
#                                               no fused multiply-add; baseline: no AVX either
# The tools may be named in NM, READELF and OBJDUMP.
set -u
LC_ALL=C
export LC_ALL
: "${NM:=nm}" "${READELF:=readelf}" "${OBJDUMP:=objdump}"

failures=0
fail() {
    echo "$*" >&2
    failures=$((failures + 1))
}

exported_functions='
kx_color_append_matrix
kx_color_clear_matrix
kx_color_create_color_processor
kx_color_create_color_processor_test
kx_color_destroy_color_processor
kx_color_enable_input_LUTs
kx_color_enable_output_LUTs
kx_color_get_blue_input_LUT
kx_color_get_blue_output_LUT
kx_color_get_green_input_LUT
kx_color_get_green_output_LUT
kx_color_get_red_input_LUT
kx_color_get_red_output_LUT
kx_color_processing_module_initialize
kx_color_processing_module_terminate
kx_color_transform_48_to_24
kx_color_transform_48_to_32
kx_color_transform_48_to_48
kx_color_transform_48_to_64
'

check_exports() {
    # With the kind of symbol: T is a function.
    wanted=$(echo "$exported_functions" | awk 'NF { print "T", $1 }')
    found=$("$NM" -D --defined-only "$1" | awk '{ print $2, $3 }' | sort -k 2)
    [ "$found" = "$wanted" ] || fail "$1 exports:
$found"
}

check_runpath() {
    for module in "$@"; do
        dynamic=$("$READELF" -d -W "$module") || fail "$module cannot be read"
        echo "$dynamic" | grep -q '(RUNPATH).*\[\$ORIGIN\]' || fail "$module: no RUNPATH \$ORIGIN"
        if echo "$dynamic" | grep -q '(RPATH)'; then
            fail "$module: RPATH"
        fi
        echo "$dynamic" | grep -q "(SONAME).*\[$(basename "$module")\]" || fail "$module: SONAME is not its file name"
    done
}

check_dependencies() {
    for module in "$@"; do
        dynamic=$("$READELF" -d -W "$module")
        echo "$dynamic" | grep -q '(SONAME)' || fail "$module cannot be read"
        needed=$(echo "$dynamic" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p')
        for name in $needed; do
            case $name in
            libstdc++.so.6 | libgcc_s.so.1 | libc.so.6 | libm.so.6 | ld-linux*) ;;
            *) fail "$module needs $name" ;;
            esac
        done
    done
}

check_build_path() {
    path=$1
    shift
    for module in "$@"; do
        [ -s "$module" ] || fail "$module cannot be read"
        if grep -q -a -F -e "$path" "$module"; then
            fail "$module contains $path"
        fi
    done
}

check_instructions() {
    kind=$1
    shift
    for module in "$@"; do
        "$OBJDUMP" -d --no-show-raw-insn "$module" | awk -F '\t' -v kind="$kind" -v module="$module" '
            NF < 2 { next }
            { ++instructions }
            $2 ~ /^vf(n?m(add|sub)|maddsub|msubadd)/ { ++fused; example = $0 }
            # Only AVX mnemonics begin with v among what compilers emit.
            kind == "baseline" && ($2 ~ /^v/ || $2 ~ /%[yz]mm/) { ++wide; example = $0 }
            END {
                if (instructions < 50) {
                    print module ": no disassembly"
                    exit 1
                }
                if (fused + wide > 0) {
                    print module ": " fused + 0 " fused and " wide + 0 " AVX instructions, for example" example
                    exit 1
                }
                print module ": " instructions " instructions"
            }' || failures=$((failures + 1))
    done
}

check=$1
shift
case $check in
exports | runpath | dependencies | build_path | instructions) "check_$check" "$@" ;;
*) fail "unknown check $check" ;;
esac
[ "$failures" -eq 0 ]
