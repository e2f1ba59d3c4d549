# shellcheck shell=bash disable=SC2034
# Debian packages that building, testing and the demo take; docs/dependencies.md says what each is for.
# Sourced by ../demo and ../check. A function that fails has said why in one line.

run_packages=(nginx curl spawn-fcgi multiwatch)
build_packages=(g++ cmake ninja-build pkg-config gsoap libgsoap-dev libfcgi-dev libboost-locale-dev
    libboost-regex-dev liblmdb-dev libsqlite3-dev libsqlitecpp-dev libcurl4-openssl-dev
    nlohmann-json3-dev libcli11-dev libgtest-dev libbenchmark-dev gettext python3)
check_packages=(clang clang-format clang-tidy clang-tools libclang-rt-14-dev wrk libxml2-utils
    shellcheck prometheus python3-prometheus-client python3-zeep php-cli php-soap python3-suds
    libsoap-lite-perl)
# Node.js from elsewhere than Debian brings npm along, and refuses Debian's.
node_packages=(nodejs)
command -v npm >/dev/null || node_packages+=(npm)
# For ./check --deep.
deep_packages=(systemd iproute2 openssl openjdk-17-jdk-headless libjaxws-java "${node_packages[@]}")
# For bench/peers.
peers_packages=(nginx wrk php-fpm php-soap "${node_packages[@]}")

# install_packages NAME...: installs those that are missing.
install_packages() {
    local missing=() name
    for name in "$@"; do
        [[ $(dpkg-query -W -f='${db:Status-Status}' "$name" 2>/dev/null) == installed ]] ||
            missing+=("$name")
    done
    ((${#missing[@]})) || return 0
    if ((EUID != 0)); then
        echo "${0##*/}: missing packages, and only root can install them: ${missing[*]}" >&2
        return 1
    fi
    local log
    log=$(mktemp /tmp/dravixd-packages.XXXXXX) || return 1
    echo "Installing ${missing[*]}"
    if { apt-get update && DEBIAN_FRONTEND=noninteractive apt-get install -y \
        --no-install-recommends "${missing[@]}"; } >"$log" 2>&1 </dev/null; then
        rm -f "$log"
        return 0
    fi
    echo "${0##*/}: the packages could not be installed (${missing[*]}), see $log" >&2
    return 1
}
