# shellcheck shell=bash
# What ./check and ./demo share: the packages, and steps that say what they do and how long it took.
# To be sourced in the root of the repository.

# To build the library and the examples, and to run them. The kernels of FFTW are bound at run time.
run_packages=(
    cmake ninja-build g++ pkg-config
    libfftw3-dev libfftw3-double3 libeigen3-dev
    libboost-dev libsndfile1-dev libcli11-dev nlohmann-json3-dev
    gnuplot-nox
    python3-dev python3-venv
)

# To draw a report as a reader sees it.
browser_packages=(chromium fonts-dejavu-core)

# To test and check them.
check_packages=(
    "${run_packages[@]}" "${browser_packages[@]}"
    ccache clang-14 clang-format-14 clang-tidy-14 python3 binutils
    libgtest-dev libgmock-dev libbenchmark-dev doxygen
    cargo rustc
)

# Besides, to build for Windows, run what was built, and link a host by another compiler.
windows_packages=(
    g++-mingw-w64-x86-64-posix wine wine64 googletest python3-pip libstd-rust-dev-windows
    lld-14 llvm-14
)

# Clones of this repository share what the compiler cache holds: paths in it are relative. It tells
# locales apart, and Python sets one where there is none.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1 LC_ALL=C.UTF-8

say() { printf '%s\n' "$*"; }

fail() {
    printf '%s: %s\n' "$(basename "$0")" "$*" >&2
    exit 1
}

# Runs a command whose output goes into build/log and says how long it took. If it fails, the script
# ends and shows the end of that log.
#   step NAME COMMAND [ARGUMENT ...]
step() {
    local name=$1 before=$SECONDS
    shift
    mkdir -p build/log
    running=$name
    log=build/log/${name//[^a-z0-9]/_}.log
    [ ! -t 1 ] || printf '%s ...\r' "$name"
    "$@" >"$log" 2>&1 </dev/null
    running=
    printf '%-44s %5d s\n' "$name" $((SECONDS - before))
}

# Of a log, what is not the lines of progress of ninja, ctest or apt.
reason() {
    grep -vE '^\[[0-9]+/[0-9]+\] |^ *[0-9]+/[0-9]+ Test +#.* Passed |^ +Start +[0-9]+: ' "$1" |
        tail -n 80 || true
}

# Errors of the script itself; what a step was redirected to is still in force when it ends the script.
exec 3>&2

# `background`, if set, is a group of processes that ends with the script.
at_exit() {
    local status=$?
    [ -z "${background:-}" ] || kill -- "-$background" 2>/dev/null || true
    [ -n "${running:-}" ] || exit "$status"
    reason "$log" >&3
    printf '%s: stopped at "%s"; all of it is in %s\n' "$(basename "$0")" "$running" "$log" >&3
    exit "$status"
}
trap at_exit EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

# Prints those of the given Debian packages that are not installed.
missing_of() {
    comm -23 <(printf '%s\n' "$@" | LC_ALL=C sort) \
        <(dpkg-query -W -f '${Package} ${db:Status-Status}\n' "$@" 2>/dev/null |
            sed -n 's/ installed$//p' | LC_ALL=C sort)
}

apt_install() {
    local options=(-y --no-install-recommends -o DPkg::Lock::Timeout=300)
    export DEBIAN_FRONTEND=noninteractive
    # The lists of a fresh machine are empty, those of another one may be old.
    apt-get install "${options[@]}" "$@" || {
        apt-get update
        apt-get install "${options[@]}" "$@"
    }
}

# Installs those of the given Debian packages that are missing.
install_missing() {
    local missing
    command -v dpkg-query >/dev/null ||
        fail "this script is for Debian 12; elsewhere, CONTRIBUTING.md says what a build needs."
    mapfile -t missing < <(missing_of "$@")
    [ ${#missing[@]} -gt 0 ] || return 0
    [ "$(id -u)" = 0 ] ||
        fail "packages are missing that only root can install: apt-get install ${missing[*]}"
    say "Installing ${missing[*]}"
    step "install packages" apt_install "${missing[@]}"
}
