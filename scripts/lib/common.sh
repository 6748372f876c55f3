# SPDX-License-Identifier: Apache-2.0
# What the scripts share: strictness, $root, packages, quiet commands.
# shellcheck shell=bash
# shellcheck disable=SC2034 # who sources this uses the package lists

set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)

packages_to_build=(cmake g++ libcli11-dev libyaml-cpp-dev ninja-build nlohmann-json3-dev)
packages_to_test=(abigail-tools clang clang-format clang-tidy doxygen iproute2 libbenchmark-dev
    libgmock-dev libgtest-dev libclang-rt-dev nftables pkg-config strace tshark valgrind)
packages_to_package=(debhelper lintian)

# require_packages PACKAGE... - install those of the Debian packages that are missing.
require_packages() {
    local package as_root=() missing=()
    local installed
    installed=$(dpkg-query -W -f='${db:Status-Status} ${Package}\n' "$@" 2>/dev/null || true)
    for package in "$@"; do
        grep -qxF "installed $package" <<<"$installed" || missing+=("$package")
    done
    if ((${#missing[@]} == 0)); then
        return
    fi

    if ((EUID != 0)); then
        if ! command -v sudo >/dev/null; then
            echo "${0##*/}: missing Debian packages: ${missing[*]} (install them as root, or install sudo)" >&2
            exit 1
        fi
        as_root=(sudo)
    fi
    echo "Installing ${missing[*]}" >&2
    quietly "$root/build/packages.log" "${as_root[@]}" apt-get update
    quietly "$root/build/packages.log" "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y --no-install-recommends "${missing[@]}"
}

# quietly LOG COMMAND... - run the command with its output in LOG; when it fails, show that output
# without the lines of steps that went well.
quietly() {
    local log=$1 status=0
    shift
    mkdir -p "${log%/*}"
    "$@" >"$log" 2>&1 </dev/null || status=$?
    if ((status != 0)); then
        grep -Ev '^\[[0-9]+/[0-9]+\] (Building|Linking|Re-checking)' "$log" >&2 || true
        echo "${0##*/}: '$*' failed with $status, see above" >&2
    fi
    return "$status"
}
