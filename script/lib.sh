# What the scripts share. Sourced at the start of each script, not run; expects `set -euo pipefail`. Takes two options
# out of the arguments of the script: --help shows the comment at the top of the script and does nothing else;
# --no-install makes install_packages end the script if packages are missing.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

build_packages=(g++ cmake make ninja-build pkg-config qtbase5-dev libmodbus-dev libcli11-dev
    libtomlplusplus-dev nlohmann-json3-dev libfmt-dev libncurses-dev)
service_packages=(libmosquitto-dev)
test_packages=(libgtest-dev libgmock-dev abigail-tools tmux mbpoll python3-pymodbus python3-serial-asyncio
    valgrind "${service_packages[@]}" mosquitto python3-paho-mqtt)
armhf_packages=(g++-arm-linux-gnueabihf qemu-user-static)
qt6_packages=(qt6-base-dev libgl-dev)
lint_packages=(clang clang-format clang-tidy cppcheck shellcheck)
bench_packages=(libbenchmark-dev libboost-dev libqt5serialbus5-dev valgrind)
sanitizer_packages=(clang libclang-rt-dev llvm)

# With a compiler cache, what was compiled before is not compiled again. The cache may rely on compiled headers.
if command -v ccache >/dev/null; then
    export CMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER-ccache}
    export CCACHE_SLOPPINESS=${CCACHE_SLOPPINESS-pch_defines,time_macros}
fi

say() {
    printf '\n== %s\n' "$*"
}

die() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

show_help() {
    sed -n '2,/^[^#]/{ s/^# \{0,1\}//p }' "$0"
    printf '\n  --help         show this, and do nothing else\n'
    printf '  --no-install   end if Debian packages are missing, instead of installing them\n'
}

no_install=
arguments=()
for argument in "$@"; do
    case $argument in
    -h | --help)
        show_help
        exit 0
        ;;
    --no-install) no_install=--no-install ;;
    *) arguments+=("$argument") ;;
    esac
done
set -- "${arguments[@]}"

# Installs those of the named Debian packages that are missing; asks the package servers only if any is. With
# --no-install the script ends if any is missing; without dpkg, the configuration says what is missing.
install_packages() {
    local missing=() package
    [ -z "$no_install" ] || command -v dpkg-query >/dev/null || return 0
    for package in "$@"; do
        dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    [ -z "$no_install" ] || die "packages are missing: ${missing[*]}"
    say "installing ${missing[*]}"
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || die "packages are missing (${missing[*]}): run me as root, or install sudo"
        as_root=(sudo)
    fi
    "${as_root[@]}" apt-get update -q
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
}

# Configures the preset $1; further arguments go to the configuration.
configure() {
    local preset=$1
    shift
    (cd "$root" && cmake --preset "$preset" "$@" >"$root/build-$preset.log" 2>&1) ||
        { cat "$root/build-$preset.log" >&2; die "the configuration failed"; }
    rm -f "$root/build-$preset.log"
}

# Checks that all of our own C++ is formatted as .clang-format says.
check_format() {
    say "clang-format"
    (cd "$root" && git ls-files -z '*.cpp' '*.h' | xargs -0 clang-format --dry-run -Werror)
}

# Configures and builds the preset $1; further arguments go to the configuration.
build() {
    local preset=$1
    say "building (preset $preset)"
    configure "$@"
    cmake --build "$root/build/$preset"
}
