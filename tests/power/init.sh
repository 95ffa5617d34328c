#!/bin/sh
# shellcheck shell=dash # busybox has local variables, too
# The first process of the virtual machine. Loads the kernel modules in /modules and executes /plan, which calls the
# functions below. The machine ends when a command fails. A DEVICE of UBIFS and JFFS2 is the number of a part of the flash.
set -e
/bin/busybox --install -s /bin
mkdir -p /proc /sys /dev
mount -t proc none /proc
mount -t sysfs none /sys
mount -t devtmpfs none /dev
while read -r module parameters; do
    # shellcheck disable=SC2086 # several words
    insmod "$module" $parameters || true # some are for other processors
done </modules

# The flash in the kernel's memory, mtd0, begins with an erase block for marks; mtd1 to mtd4 are equal parts of the rest.
size=$(cat /sys/class/mtd/mtd0/size)
erase_block=$(cat /sys/class/mtd/mtd0/erasesize)
part=$(((size - erase_block) / 4))
for number in 0 1 2 3; do
    mtdpart add /dev/mtd0 "part$number" $((erase_block + number * part)) "$part" >/dev/null
done
echo 1 >/proc/sys/kernel/kptr_restrict # root sees addresses
# The flash's place in the kernel's memory, which has a guard page.
sed -n "s/^\(0x[0-9a-f]*\)-.* $((size + 4096)) .*/flash \1/p" /proc/vmallocinfo

mount_medium() { # mount_medium FOLDER FILE_SYSTEM DEVICE [OPTIONS]
    local device="/dev/$3"
    case $2 in
        ubifs) device=ubi$3:data ;;
        jffs2) device=mtd$3 ;;
    esac
    mkdir -p "$1"
    mount -t "$2" -o "${4-rw}" "$device" "$1"
}

prepare() { # prepare FOLDER FILE_SYSTEM DEVICE [OPTIONS]: mounts an empty medium, and makes an application's folder
    if [ "$2" = ubifs ]; then
        ubiattach -m "$3" -d "$3" >/dev/null
        ubimkvol "/dev/ubi$3" -N data -m >/dev/null
    fi
    mount_medium "$@"
    mkdir -p "$1/app/html"
    printf app >"$1/app/html/pid.cgi"
    sync
}

prepare_link() { # the same, with a symbolic link as settings file
    prepare "$@"
    ln -s target "$1/app/html/settings_xml.txt"
    sync
}

save() { # save FOLDER PROGRAM MARKS OFFSET: saves forms until the power is cut
    cd "$1/app/html"
    /forms save "$2" "$3" "$4" || echo "failed $1 $2"
}

left_overs() { # prints the number of files that killed requests have left
    find . ! -name . ! -name pid.cgi ! -name settings_xml.txt | wc -l
}

next_save() { # next_save FORM: saves this form; prints "good" or what was wrong
    local old
    old=$(stat -c %i settings_xml.txt || true)
    if ! /forms post /saveSettings "$1"; then
        echo refused
    elif [ "$(/forms stored)" != "$1" ]; then
        echo not-stored
    elif [ "$(stat -c %i settings_xml.txt)" = "$old" ]; then
        echo not-renamed # the new file exists while the old one does, so it has another number
    elif [ "$(left_overs)" != 0 ]; then
        echo not-cleared
    else
        echo good
    fi
}

# check NUMBER FILE_SYSTEM OFFSET SIZE: prints "state NUMBER FORM LEFTOVERS NEXT" for the medium at OFFSET of the disk:
# the form in the settings file (see forms.c; -2: no file system), the left-over files, and the result of the next save.
check() {
    local device=loop0 form=-2 left=0 next=unmountable
    case $2 in
        ubifs | jffs2)
            device=1
            dd if=/dev/vda of=/dev/mtd1 bs=64k skip=$(($3 >> 16)) count=$(($4 >> 16)) 2>/dev/null
            ;;
        *) losetup -o "$3" /dev/loop0 /dev/vda ;;
    esac
    if { [ "$2" != ubifs ] || ubiattach -m 1 -d 1 >/dev/null; } && mount_medium /checked "$2" "$device" &&
        cd /checked/app/html; then
        form=$(/forms stored)
        left=$(left_overs)
        next=$(next_save $((form > 0 ? form + 1 : 1)))
    fi
    echo "state $1 $form $left $next"
    cd /
    umount /checked || true
    case $2 in
        ubifs) ubidetach -d 1 || true ;;
        ext4 | f2fs) losetup -d /dev/loop0 ;;
    esac
}

# shellcheck source=/dev/null
. /plan
echo "done"
reboot -f
