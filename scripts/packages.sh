# Sourced by the scripts in the root: installs Debian packages that are missing.

build_packages=(cmake g++ ninja-build libjson-c-dev nlohmann-json3-dev libcli11-dev libmicrohttpd-dev)
test_packages=(clang clang-format libclang-rt-14-dev libgtest-dev libvalijson-dev libbenchmark-dev nodejs python3-jsonschema strace util-linux)
long_packages=(clang-tidy cppcheck chromium chromium-driver python3-selenium) # what only ./check --long needs
foreign_packages=(qemu-user googletest) # and a compiler for each processor
musl_packages=(musl-dev g++-arm-linux-gnueabihf)

installed() {
    [ "$(dpkg-query -W -f '${Status}' "$1" 2>/dev/null)" = 'install ok installed' ]
}

# need_packages PACKAGE...: returns when all are there; ends the script, saying what to install, when they cannot be had.
need_packages() {
    local missing=() package as_root=()
    for package in "$@"; do
        installed "$package" || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return
    if [ "$(id -u)" -ne 0 ]; then
        if ! command -v sudo >/dev/null; then
            echo "Missing packages, and no way to install them from here. As root: apt-get install ${missing[*]}" >&2
            exit 1
        fi
        as_root=(sudo)
    fi
    echo "Installing what is missing: ${missing[*]}"
    if ! { "${as_root[@]}" apt-get update -q && install_packages "${missing[@]}"; } >/tmp/wexond-apt-$$.log 2>&1; then
        tail -n 20 /tmp/wexond-apt-$$.log >&2
        rm -f /tmp/wexond-apt-$$.log
        echo "Installing failed. By hand: apt-get install ${missing[*]}" >&2
        exit 1
    fi
    rm -f /tmp/wexond-apt-$$.log
}

install_packages() {
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "$@"
}
