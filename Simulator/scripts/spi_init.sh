#!/bin/sh
# Mounts, formats and unmounts the set's two flash partitions:
#     spi_init.sh mount|format|umount migration|data_sync [mkfs.vfat /dev/mtdblock1]
# File system and device are taken and change nothing: the simulated flash has one of each.

# shellcheck source=set.sh
. "${0%/*}/set.sh"

usage='usage: spi_init.sh mount|format|umount migration|data_sync [mkfs.vfat /dev/mtdblock1]'
case "$#:${3-}:${4-}" in
    2:: | 4:mkfs.vfat:/dev/mtdblock1) ;;
    *) refuse "$usage" ;;
esac
case $2 in
    migration | data_sync) ;;
    *) refuse "$usage" ;;
esac

case $1 in
    mount)
        mount "$2"
        ;;
    format)
        # Whoever formats does not mount afterwards: it is done here.
        partition "$2"
        if ! { mkdir -p "$partition" && find "$partition/" -mindepth 1 -delete; }; then fail "cannot format $2"; fi
        if cutHere; then
            rmdir "$partition"  # half a format leaves no file system
            synced "$2"
            losePower
        fi
        synced "$2"
        mayLosePower
        mount "$2"
        ;;
    umount)
        umount "$2"
        ;;
    *)
        refuse "$usage"
        ;;
esac
