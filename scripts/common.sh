# Shared by the scripts of this folder: where the checkout is, and how missing packages get onto the machine.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

# What building and testing take, beyond a Debian base system.
build_packages=(g++ cmake ninja-build libsqlite3-dev)
test_packages=(libgtest-dev clang-format)

# need PACKAGE...: installs the Debian packages that are missing, or says which to install and stops.
need() {
    local package missing=()
    for package in "$@"; do
        dpkg-query -W -f '${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    if ! command -v apt-get >/dev/null; then
        echo "Please install what these Debian packages hold, then run this again: ${missing[*]}" >&2
        exit 1
    fi
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null || ! sudo -n true 2>/dev/null; then
            echo "Please run: apt-get install ${missing[*]}" >&2
            exit 1
        fi
        as_root=(sudo -n)
    fi
    echo "Installing ${missing[*]}"
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# build PRESET [TARGET...]: configures and builds.
build() {
    local preset=$1
    shift
    cmake --preset "$preset" >"build/$preset.configure.log" 2>&1 || {
        cat "build/$preset.configure.log" >&2
        exit 1
    }
    cmake --build --preset "$preset" -- "${@:-all}"
}

mkdir -p build
