#!/bin/sh
# Looks into built modules. Usage:
#   binary_checks.sh linkage MODULE...          they need nothing but the C and C++ runtime, for Windows nothing but
#                                               what every Windows has; .so files find each other beside themselves,
#                                               after LD_LIBRARY_PATH
#   binary_checks.sh instructions sse|avx2|avx512|neon FILE...
#                                               of modules and object files: no fused multiply-add and no wider
#                                               instructions; AVX2 or AVX-512 instructions where they may be. An object
#                                               file shares no code with others, which may not have its instructions
#   binary_checks.sh aligned_moves MODULE...    no aligned access by wide registers, which a stack that is aligned
#                                               to 16 bytes cannot take
# What they export kx_verify checks. The tools may be named in NM, READELF and OBJDUMP.
set -u
LC_ALL=C
export LC_ALL
: "${NM:=nm}" "${READELF:=readelf}" "${OBJDUMP:=objdump}"

failures=0
fail() {
    echo "$*" >&2
    failures=$((failures + 1))
}

check_imports() {
    imports=$("$OBJDUMP" -p "$1" | sed -n 's/^\tDLL Name: //p')
    [ -n "$imports" ] || fail "$1: no imports found"
    for name in $imports; do
        case $name in
        KERNEL32.dll | SHELL32.dll | msvcrt.dll | korvex_kvi_color_processing.dll) ;;
        *) fail "$1 needs $name" ;;
        esac
    done
}

check_linkage() {
    for module in "$@"; do
        case $module in
        *.dll | *.exe)
            check_imports "$module"
            continue
            ;;
        esac
        dynamic=$("$READELF" -d -W "$module")
        echo "$dynamic" | grep -q '(RUNPATH).*\[\$ORIGIN\]' || fail "$module: no RUNPATH \$ORIGIN"
        echo "$dynamic" | grep -q '(RPATH)' && fail "$module: RPATH"
        echo "$dynamic" | grep -q "(SONAME).*\[$(basename "$module")\]" || fail "$module: SONAME is not its file name"
        for name in $(echo "$dynamic" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p'); do
            case $name in
            libstdc++.so.6 | libgcc_s.so.1 | libc.so.6 | libm.so.6 | ld-linux*) ;;
            *) fail "$module needs $name" ;;
            esac
        done
    done
}

check_instructions() {
    kind=$1
    shift
    for file in "$@"; do
        # Columns: address, bytes, instruction. Byte 62 begins what only AVX-512 has; that k begins an instruction on
        # its masks and v any of AVX goes for what compilers emit.
        "$OBJDUMP" -d -w "$file" | awk -F '\t' -v kind="$kind" -v file="$file" '
            NF < 3 { next }
            { ++instructions }
            $3 ~ /^vf(n?m(add|sub)|maddsub|msubadd)/ { ++wrong; example = $0 }
            kind == "neon" && $3 ~ /^f(n?m(add|sub)|n?ml[as]|cmla)/ { ++wrong; example = $0 }
            $2 ~ /^((2e|36|3e|64|65|67) )?62 / || $3 ~ /^k/ { ++avx512; if (kind != "avx512") { ++wrong; example = $0 } }
            $3 ~ /^v/ { ++avx; if (kind == "sse") { ++wrong; example = $0 } }
            END {
                if (instructions < 50 || wrong > 0 || (kind ~ /^avx/ && avx < 50) || (kind == "avx512" && avx512 < 50)) {
                    print file ": " wrong + 0 " of " instructions + 0 " instructions are wrong" example
                    exit 1
                }
            }' || failures=$((failures + 1))
        case $file in
        *.o | *.obj)
            shared=$("$NM" --defined-only "$file" | awk '$2 ~ /^[TWui]$/ && $3 !~ /^DW\.ref/')
            [ -z "$shared" ] || fail "$file shares code: $shared"
            ;;
        esac
    done
}

check_aligned_moves() {
    for module in "$@"; do
        "$OBJDUMP" -d --no-show-raw-insn "$module" | awk -F '\t' -v module="$module" '
            $2 ~ /%[yz]mm/ { ++wide }
            $2 ~ /^vmov(ap|dqa).*\(.*%[yz]mm|^vmov(ap|dqa).*%[yz]mm.*\(/ { ++wrong; example = $0 }
            END {
                if (wide < 50 || wrong > 0) {
                    print module ": " wrong + 0 " of " wide + 0 " instructions are aligned moves" example
                    exit 1
                }
            }' || failures=$((failures + 1))
    done
}

check=$1
shift
"check_$check" "$@"
[ "$failures" -eq 0 ]
