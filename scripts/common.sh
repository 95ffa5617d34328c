# shellcheck shell=bash
# Shared by the scripts in this folder; source it, do not run it.

# The folder of the repository that the calling script stands in.
# shellcheck disable=SC2034 # for the scripts that source this
repository=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)

# need_packages NAME...: makes sure that the Debian packages are installed. Installs what is missing when that is
# allowed (root, or sudo without a password); otherwise says exactly what to install and ends the script.
need_packages() {
    local package missing=() as_root=()
    for package in "$@"; do
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
        # A web server's package would start it as a system service; this policy says no while we install.
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

# need_axe: makes sure that build/axe holds axe-core, which finds what shuts people out of a page.
need_axe() {
    local version=4.14.1
    grep -qs "\"version\": \"$version\"" "$repository/build/axe/node_modules/axe-core/package.json" && return
    command -v npm >/dev/null || need_packages npm
    # npm knows authorities of its own; this machine may trust more of them.
    NODE_EXTRA_CA_CERTS=${NODE_EXTRA_CA_CERTS-/etc/ssl/certs/ca-certificates.crt} \
        npm install --loglevel=error --no-audit --no-fund --no-save --prefix "$repository/build/axe" "axe-core@$version" >&2
}
