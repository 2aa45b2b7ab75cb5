# Shared by the scripts of this folder: locates the checkout, installs missing packages and builds.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"

# The packages that building and testing need beyond a Debian base system. The tests are always configured too.
build_packages=(g++ cmake ninja-build ccache libsqlite3-dev libgtest-dev pkgconf)
toolkit_packages=(libgtk-3-dev qt6-base-dev) # for the optional window systems
test_packages=(clang-format gdb gettext git libfmt-dev locales)

# as_root COMMAND...: runs the command as root; fails if this user may not.
as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        command -v sudo >/dev/null && sudo -n "$@"
    fi
}

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
    if ! as_root true 2>/dev/null; then
        echo "Please run: apt-get install ${missing[*]}" >&2
        exit 1
    fi
    echo "Installing ${missing[*]}"
    as_root apt-get update -qq
    as_root env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# Several builds compile the same sources with the same options: the packages, the library as a part of another project,
# another clone. ccache keeps what was compiled, whichever folder it was compiled in.
export CMAKE_CXX_COMPILER_LAUNCHER=ccache CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1
export CCACHE_SLOPPINESS=pch_defines,time_macros

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

# need_foreign ARCHITECTURE COMPILER: what building for another processor and running under an emulator needs.
need_foreign() {
    need "$2" qemu-user googletest
    foreign_packages "$1" "build/foreign/$1" libsqlite3-0 libsqlite3-dev libc6 libc-bin
}

# need_target TARGET: installs the further packages that building and running for the target needs.
need_target() {
    case $1 in
    linux-clang) need clang-19 libc++-19-dev libc++abi-19-dev googletest ;;
    linux-desktop) need "${toolkit_packages[@]}" xauth xdotool xvfb ;;
    linux-armv7) need_foreign armhf g++-arm-linux-gnueabihf ;;
    linux-aarch64) need_foreign arm64 g++-aarch64-linux-gnu ;;
    linux-s390x) need_foreign s390x g++-s390x-linux-gnu ;;
    windows-i686)
        need g++-mingw-w64-i686-posix wine wine64 googletest
        foreign_packages i386 build/foreign/i386 libwine
        ;;
    windows-x86_64) need g++-mingw-w64-x86-64-posix wine wine64 googletest xvfb xauth ;;
    esac
}

# build_target TARGET [PART...]: builds the whole target, or the parts named. Builds for another system need this
# system's message compiler.
build_target() {
    case $1 in
    linux-armv7 | linux-aarch64 | linux-s390x | windows-*) build linux tarnmsg || return ;;
    esac
    build "$@"
}

mkdir -p build
source scripts/foreign.sh
