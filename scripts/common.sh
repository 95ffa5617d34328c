# shellcheck shell=bash
# Shared by the scripts in this folder; source it, do not run it.

# The folder of the repository that the calling script is in.
# shellcheck disable=SC2034 # for the scripts that source this
repository=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# The Debian packages by purpose.
declare -A packages_for=(
    [build]='g++ cmake make'
    [tests]='libgtest-dev libpugixml-dev'
    [compilers]='clang locales'                              # for the tests of the interface and of locales
    [programs]='psmisc python3 curl strace util-linux'       # to run the program from outside
    [servers]='lighttpd nginx-light fcgiwrap apache2-bin busybox mini-httpd systemd'
    [browser]='chromium chromium-driver python3-selenium'
    [packaging]='pkg-config dpkg-dev fakeroot file lintian'
    [lint]='git clang clang-format clang-tidy cppcheck shellcheck flake8 python3-autopep8'
    [fuzz]='clang libclang-rt-14-dev'
    [coverage]='clang-19 llvm-19 libclang-rt-19-dev'
    [cross]='cmake make googletest qemu-user python3 psmisc strace'
    [board]='cmake make g++-arm-linux-gnueabihf qemu-system-arm kmod python3'
    [machines]='gcc libc6-dev qemu-system-x86 kmod e2fsprogs f2fs-tools python3'
)

# need_packages NAME|@PURPOSE...: installs those of these Debian packages that are missing. Without root and without sudo
# it prints what to install and ends the script.
need_packages() {
    local name package names=() missing=() as_root=()
    for name in "$@"; do
        case $name in
            @*) read -ra package <<<"${packages_for[${name#@}]}" && names+=("${package[@]}") ;;
            *) names+=("$name") ;;
        esac
    done
    for package in "${names[@]}"; do
        dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$' || missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0

    if [ "$(id -u)" -ne 0 ]; then
        as_root=(sudo -n)
        if ! sudo -n true 2>/dev/null; then
            echo "Missing packages. Please run: sudo apt-get install --no-install-recommends ${missing[*]}" >&2
            exit 1
        fi
    fi
    echo "Installing: ${missing[*]}" >&2
    "${as_root[@]}" bash -s "${missing[@]}" <<'INSTALL'
        set -e
        export DEBIAN_FRONTEND=noninteractive
        # Web servers' packages would start system services; this policy forbids it during the installation.
        policy=/usr/sbin/policy-rc.d
        if [ ! -e "$policy" ]; then
            trap 'rm -f "$policy"' EXIT
            printf '#!/bin/sh\nexit 101\n' >"$policy"
            chmod 755 "$policy"
        fi
        apt-get -qq update
        apt-get -qq -y -o DPkg::Lock::Timeout=300 install --no-install-recommends "$@" >/dev/null
INSTALL
}

# use_build TARGET...: unless `build` names a build folder, builds these targets of the release preset and sets `build`.
use_build() {
    [ -z "${build-}" ] || return 0
    need_packages @build @tests
    build=$repository/build/release
    cmake --preset release >/dev/null
    cmake --build "$build" --target "$@" --parallel "$(nproc)" >/dev/null
}

# need_axe: makes sure that build/axe holds axe-core, which finds what shuts people out of a page.
need_axe() {
    local version=4.14.1
    grep -qs "\"version\": \"$version\"" "$repository/build/axe/node_modules/axe-core/package.json" && return
    command -v npm >/dev/null || need_packages npm
    # npm knows authorities of its own; this machine may trust more of them.
    NODE_EXTRA_CA_CERTS=${NODE_EXTRA_CA_CERTS-/etc/ssl/certs/ca-certificates.crt} \
        npm install --loglevel=error --no-audit --no-fund --no-save --prefix "$repository/build/axe" "axe-core@$version" >&2
}
