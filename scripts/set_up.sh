# Sourced by the other scripts: moves to the project's root and provides need_packages.
# shellcheck shell=bash

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

# What builds everything but the benchmarks' comparisons, the tests and the Windows version.
build_packages=(g++ cmake ninja-build libspdlog-dev libfmt-dev libcli11-dev libtiff-dev libpng-dev liblcms2-dev
    nlohmann-json3-dev libcairo2-dev libpugixml-dev python3-dev pybind11-dev)

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

# build PRESET [TARGET...]: configures and builds; shows the log only when that fails.
build() {
    local preset=$1 log=build/$1.log
    shift
    mkdir -p build
    echo "Building $preset${*:+: $*}"
    {
        cmake --preset "$preset" && cmake --build --preset "$preset" ${*:+--target "$@"}
    } >"$log" 2>&1 || {
        grep -E -A5 'error|FAILED|CMake Error' "$log" | head -n 60 >&2 || tail -n 40 "$log" >&2
        echo "Building $preset failed; the whole log is in $log." >&2
        exit 1
    }
}
