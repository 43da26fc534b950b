# What the scripts share. Sourced, not run.

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scratch=$(mktemp -d)
cleanup() {
    # Programs that a script leaves running end with it.
    kill $(jobs -p) 2>/dev/null || true
    wait 2>/dev/null || true
    rm -rf "$scratch"
}
trap cleanup EXIT

# install_packages [FILE]: installs what is missing of scripts/packages, or of another such list, and says what.
install_packages() {
    local missing=() package
    for package in $(grep -v '^#' "${1:-scripts/packages}"); do
        [ "$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null)" = installed ] || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    echo "Installing: ${missing[*]}"
    local as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        as_root=(sudo)
    fi
    "${as_root[@]}" apt-get update -qq
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# build PRESET [TARGET...]: installs what is missing, then configures and builds. Prints one line unless that fails.
# Always configures, because a program that CMake did not find before may be installed by now.
build() {
    local preset=$1
    shift
    install_packages
    echo "Building: $preset${1:+, $*}"
    cmake --preset "$preset" >"$scratch/configure.log"
    if grep '^-- Skipping' "$scratch/configure.log" >&2; then
        return 1 # all that is needed was installed above, so the search for it is wrong
    fi
    cmake --build "build/$preset" ${1:+--target "$@"} -- --quiet
}

# The runtime folder is where a simulated module tells where it is. Systems without a login manager lack one.
ensure_runtime_folder() {
    [ -n "${XDG_RUNTIME_DIR:-}" ] && [ -d "$XDG_RUNTIME_DIR" ] && return
    own_runtime_folder
}

own_runtime_folder() {
    export XDG_RUNTIME_DIR=$scratch/runtime
    mkdir -m 700 "$XDG_RUNTIME_DIR"
}

# until_true SECONDS COMMAND...: tries the command until it succeeds.
until_true() {
    local end=$((SECONDS + $1))
    shift
    until "$@" >/dev/null 2>&1; do
        if [ $SECONDS -ge $end ]; then
            echo "$(basename "$0"): gave up waiting for: $*" >&2
            return 1
        fi
        sleep 0.05
    done
}

# start_module COMMAND...: a simulated module in the background, ready when this returns.
start_module() {
    "$@" >"$scratch/module.log" &
    until_true 20 grep -q '^ready: ' "$scratch/module.log"
}
