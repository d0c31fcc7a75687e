# Sourced by the other scripts: moves to the project's root and provides need_packages.
# shellcheck shell=bash

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# What builds everything but the benchmarks' comparisons, the tests and the Windows version.
build_packages=(g++ cmake ninja-build libspdlog-dev libfmt-dev libcli11-dev libtiff-dev libpng-dev libisal-dev liblcms2-dev
    nlohmann-json3-dev libpugixml-dev python3-dev pybind11-dev)

# need_packages PACKAGE...: installs those Debian packages that are missing, or names them and stops when
# this is not root.
need_packages() {
    local missing=() package
    for package in "$@"; do
        if [[ "$(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null)" != installed ]]; then
            missing+=("$package")
        fi
    done
    if ((${#missing[@]} == 0)); then
        return
    fi
    if ((EUID != 0)); then
        echo "These Debian packages are missing; install them and run this again: ${missing[*]}" >&2
        exit 1
    fi
    echo "Installing ${missing[*]}"
    {
        apt-get update -q
        DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
    } >"${TMPDIR:-/tmp}/kx_packages.log" 2>&1 || {
        tail -n 20 "${TMPDIR:-/tmp}/kx_packages.log" >&2
        echo "The packages could not be installed." >&2
        exit 1
    }
}

# What the programs need on Windows. Where it cannot be fetched or built the build is without them, which windows_lacks says.
windows_lacks=
prepare_windows() {
    scripts/windows_dependencies || windows_lacks=", but without kx_convert and kx_chart for Windows: what they need is missing"
}

# watched LOG COMMAND...: the command's output goes to the log. On a terminal one line shows how far it has come, where
# the output says that as builds and tests do.
watched() {
    local log=$1 width line
    shift
    if [[ ! -t 1 ]]; then
        "$@" >"$log" 2>&1
        return
    fi
    width=$(tput cols 2>/dev/null || echo 80)
    "$@" 2>&1 | tee "$log" | {
        while IFS= read -r line; do
            if [[ $line =~ ^\[[0-9]+/[0-9]+\]|^\ *[0-9]+/[0-9]+\ Test ]]; then
                printf '\r\e[K%s' "${line:0:width-1}"
            fi
        done
        printf '\r\e[K'
    }
}

configure_and_build() {
    local preset=$1
    shift
    cmake --preset "$preset" && cmake --build --preset "$preset" ${*:+--target "$@"}
}

# build PRESET [TARGET...]: configures and builds; shows the log only when that fails.
build() {
    local preset=$1 log=build/$1.log
    mkdir -p build
    echo "Building $1${2:+: ${*:2}}"
    watched "$log" configure_and_build "$@" || {
        grep -E -A5 'error|FAILED|CMake Error' "$log" | head -n 60 >&2 || tail -n 40 "$log" >&2
        echo "Building $preset failed; the whole log is in $log." >&2
        exit 1
    }
}
