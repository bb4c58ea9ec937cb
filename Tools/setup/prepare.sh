# Shared by ./demo and ./check: installs what is missing, configures and builds a preset. To be sourced.
#
# Quiet when all is well: each step's output goes to build/PRESET/*.log and is shown only when the step fails.

project=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
program=$(basename "$0")

# Where progress is shown: in place on a terminal, a line a step elsewhere.
progress() {
    if [ -t 1 ]; then
        printf '\r\033[K%s' "$*"
    else
        printf '%s\n' "$*"
    fi
}

end_progress() {
    if [ -t 1 ]; then
        printf '\r\033[K'
    fi
}

fail() {
    fail_with 1 "$@"
}

# fail_with STATUS MESSAGE...
fail_with() {
    end_progress
    printf '%s: %s\n' "$program" "${*:2}" >&2
    exit "$1"
}

has_header() {
    [ -e "/usr/include/$1" ] || [ -e "/usr/local/include/$1" ]
}

# The Debian packages that are needed and not there.
missing_packages() {
    command -v cmake >/dev/null || echo cmake
    command -v ninja >/dev/null || echo ninja-build
    command -v g++ >/dev/null || echo g++
    command -v pkg-config >/dev/null || echo pkg-config
    command -v dbus-daemon >/dev/null || echo dbus-daemon
    { command -v abidw && command -v abidiff; } >/dev/null || echo abigail-tools
    { command -v pkg-config >/dev/null && pkg-config --exists gio-2.0; } || echo libglib2.0-dev
    has_header CLI/CLI.hpp || echo libcli11-dev
    has_header nlohmann/json.hpp || echo nlohmann-json3-dev
    has_header toml++/toml.h || echo libtomlplusplus-dev
    has_header gtest/gtest.h || echo libgtest-dev
    has_header gmock/gmock.h || echo libgmock-dev
}

# The same for what only some commands need; install_what_is_missing PURPOSE calls missing_packages_for_PURPOSE.
missing_packages_for_bench() {
    has_header benchmark/benchmark.h || echo libbenchmark-dev
    { command -v pkg-config >/dev/null && pkg-config --exists dbus-1; } || echo libdbus-1-dev
    has_header valgrind/callgrind.h && command -v valgrind >/dev/null || echo valgrind
}

missing_packages_for_coverage() {
    command -v gcovr >/dev/null || echo gcovr
}

missing_packages_for_mcdc() {
    command -v clang++-19 >/dev/null || echo clang-19
    { command -v llvm-profdata-19 && command -v llvm-cov-19; } >/dev/null || echo llvm-19
    compgen -G '/usr/lib/llvm-19/lib/clang/19/lib/linux/libclang_rt.profile-*' >/dev/null || echo libclang-rt-19-dev
    command -v python3 >/dev/null || echo python3
}

missing_packages_for_armhf() {
    command -v arm-linux-gnueabihf-g++ >/dev/null || echo g++-arm-linux-gnueabihf
    command -v mmdebstrap >/dev/null || echo mmdebstrap
    command -v qemu-arm-static >/dev/null || echo qemu-user-static
}

missing_packages_for_docs() {
    command -v doxygen >/dev/null || echo doxygen
    command -v dot >/dev/null || echo graphviz
    command -v mandoc >/dev/null || echo mandoc
}

as_root() {
    if [ "$(id -u)" = 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}

# An archive that does not answer the update may not be the one that is needed.
install_packages() {
    as_root apt-get update
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends "$@"
}

# with_patience DOING LOG COMMAND...: runs it with its output in LOG; when it fails, again over several minutes. Returns
# 75 when a package archive did not deliver to the end, 1 when it failed otherwise.
with_patience() {
    local doing=$1 log=$2 pause
    for pause in 10 20 40 60 90 0; do
        progress "$doing"
        "${@:3}" >"$log" 2>&1 && return 0
        [ "$pause" = 0 ] && break
        progress "$doing: failed, again in $pause s"
        sleep "$pause"
    done
    end_progress
    tail -n 20 "$log" >&2
    grep -q -E '^E: (Failed to fetch|Unable to locate package|Package .* has no installation candidate)' "$log" &&
        return 75
    return 1
}

# all_missing_packages PURPOSE...
all_missing_packages() {
    local purpose
    missing_packages
    for purpose in "$@"; do
        "missing_packages_for_$purpose"
    done
}

# install_what_is_missing PURPOSE...: what every command needs, and what these purposes need besides. Ends the program
# with 75 when the package archive does not deliver.
install_what_is_missing() {
    local missing
    mapfile -t missing < <(all_missing_packages "$@")
    [ ${#missing[@]} = 0 ] && return 0
    mkdir -p "$project/build"
    command -v apt-get >/dev/null || fail "please install ${missing[*]}: there is no apt-get here to do it"
    [ "$(id -u)" = 0 ] || command -v sudo >/dev/null ||
        fail "please install ${missing[*]}: that takes root, and there is no sudo"
    with_patience "installing ${missing[*]}" "$project/build/packages.log" install_packages "${missing[@]}" ||
        fail_with $? "could not install ${missing[*]}: all of it is in build/packages.log"
    mapfile -t missing < <(all_missing_packages "$@")
    [ ${#missing[@]} = 0 ] || fail "still missing after the installation: ${missing[*]}"
}

# configure PRESET: once; afterwards ninja sees to it by itself.
configure() {
    [ -e "$project/build/$1/build.ninja" ] && return 0
    mkdir -p "$project/build/$1"
    progress "$1: configuring"
    (cd "$project" && cmake --preset "$1") >"$project/build/$1/configure.log" 2>&1 && return 0
    rm -f "$project/build/$1/build.ninja"
    end_progress
    cat "$project/build/$1/configure.log" >&2
    return 1
}

# The thread sanitizer of this compiler knows fewer places where a process may lie than newer kernels use.
fixed_addresses=()
if setarch "$(uname -m)" -R true 2>/dev/null; then
    fixed_addresses=(setarch "$(uname -m)" -R)
fi

# build PRESET [TARGET...]; it runs test programs too, for the names of their tests.
build() {
    local directory=$project/build/$1
    configure "$1" || return 1
    ninja -C "$directory" -n "${@:2}" 2>/dev/null | grep -q '^ninja: no work to do' && return 0
    progress "$1: building"
    "${fixed_addresses[@]}" ninja -C "$directory" "${@:2}" >"$directory/build.log" 2>&1 && return 0
    end_progress
    # What compiled well is of no interest, nor is what ninja says of its own work.
    grep -v '^\[[0-9]*/[0-9]*\] ' "$directory/build.log" >&2
    return 1
}
