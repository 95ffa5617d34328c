# shellcheck shell=bash
# For scripts/power-cut and scripts/small-device: installs what is missing, builds the release preset unless the
# arguments contain --build DIR, compiles the guest's programs, and runs a script of this folder with the other arguments.
source "$(dirname "${BASH_SOURCE[0]}")/../../scripts/common.sh"

run_with_machines() { # run_with_machines SCRIPT ARGUMENT...
    local script=$1 build='' name options=()
    shift
    while [ $# -gt 0 ]; do
        case $1 in
            --build) build=$(cd "${2:?--build needs a folder}" && pwd) && shift ;;
            *) options+=("$1") ;;
        esac
        shift
    done
    cd "$repository" || exit
    need_packages @machines
    use_build saveSettings noSyncProgram noDirectorySyncProgram
    local work=$repository/build/power
    mkdir -p "$work"
    for name in forms small; do
        gcc -static -O2 -Wall -Wextra -Werror -o "$work/$name" "tests/power/$name.c" tests/power/form.c
    done
    export PATH=$PATH:/usr/sbin:/sbin PYTHONPATH=scripts
    exec /usr/bin/python3 -B "tests/power/$script" --build "$build" --work "$work" "${options[@]}"
}
