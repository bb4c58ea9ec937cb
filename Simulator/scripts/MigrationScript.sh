#!/bin/sh
# Carries the backup tree SP_VB_Data between the TV and the box:
#     MigrationScript.sh InsmodMig|UnMoungNRmmod|UnmountMig|cleanbkup|tarncpy|cpynuntar|Bkup13|Restor13
# What another program looks for under its name is made under a hidden one and renamed when it is whole.

# shellcheck source=set.sh
. "${0%/*}/set.sh"

tree=SP_VB_Data
archive=korvane_vbmg.tar
boxArchive=/opt/korvane_vbmg_Tavix.tar.gz
legacyArchive=legacy.tar
legacyFile=TD/Migration/PictureMigrationData.dat

# base KEY NAME: sets $base to the host path of the backup (key 247) or restore (248) base.
base() {
    path=/opt/tv/migration/korvane_vbmg/
    if fault "system_info.$1"; then
        [ "$value" = fail ] || path=$value
    elif [ -f "$state/$2" ]; then
        IFS= read -r path <"$state/$2" || [ -n "$path" ] || fail "$state/$2 is empty"
    fi
    mapPath "$path" || fail "the $2 '$path' is not a path of the set"
    base=$host
}

backupBase() {
    base 247 backup_path
}

restoreBase() {
    base 248 restore_path
}

# holder DIRECTORY: sets $holder to the name of the partition that a directory lies on.
holder() {
    holder=root
    for name in migration data_sync; do
        case $1/ in
            "$state/mnt/$name/"*) ! isMounted "$name" || holder=$name ;;
        esac
    done
}

# fits DIRECTORY BYTES ROOM: true when bytes fit in the room that there was ("" for no limit).
fits() {
    [ -z "$3" ] || [ "$2" -le "$3" ] || {
        say "$1: no space left on device"
        return 1
    }
}

# pack BASE ARCHIVE: makes an archive of the backup tree; whether it is compressed goes by the name.
pack() {
    if [ ! -d "$1/$tree" ] || [ -L "$1/$tree" ]; then fail "there is no $tree to pack"; fi
    into=${2%/*}
    part=$into/.${2##*/}
    if [ ! -d "$into" ] || [ ! -w "$into" ]; then fail "$into cannot be written"; fi
    holder "$into"
    room=
    roomLeft "$holder" || room=
    if tar -C "$1" -caf "$part" "$tree" && fits "$into" "$(wc -c <"$part")" "$room"; then
        ! cutHere || { keepHalf "$part"; losePower; }
        mayLosePower
        if mv "$part" "$2"; then
            mayLosePower
            return 0
        fi
    fi
    rm -f "$part"
    exit 1
}

# copyTree FROM TO: copies the backup tree into another directory.
copyTree() {
    part=$2/.$tree
    holder "$2"
    room=
    roomLeft "$holder" || room=
    if fits "$2" "$(bytesBelow "$1/$tree")" "$room" && rm -rf "$part" && cp -R "$1/$tree" "$part"; then
        ! cutHere || { keepHalf "$part/${legacyFile##*/}"; losePower; }
        mayLosePower
        if rm -rf "${2:?}/$tree" && mayLosePower && mv "$part" "$2/$tree"; then return 0; fi
    fi
    rm -rf "$part"
    exit 1
}

# unpack ARCHIVE DIRECTORY ENTRY: unpacks an archive and puts its entry in the place of the one in the directory.
unpack() {
    part=$2/.unpack
    holder "$2"
    room=
    roomLeft "$holder" || room=
    if mkdir -p "$2" && rm -rf "$part" && mkdir "$part" && tar -C "$part" --no-same-owner -xf "$1" &&
        [ -d "$part/$3" ] && [ ! -L "$part/$3" ] && fits "$2" "$(bytesBelow "$part")" "$room"; then
        ! cutHere || { keepHalf "$part/$3/${legacyFile##*/}"; losePower; }
        mayLosePower
        above=$(dirname "$2/$3")
        mkdir -p "$above" && rm -rf "${2:?}/$3" && mayLosePower && mv "$part/$3" "$2/$3" && mayLosePower &&
            rm -rf "$part" && return 0
    fi
    rm -rf "$part"
    fail "${1##*/} holds no $3, or it cannot be unpacked"
}

cleanBackup() {
    backupBase
    mapPath "$boxArchive" || exit 1
    oldArchive=$host
    for place in "$base" "$state/mnt/migration"; do
        rm -rf "${place:?}/$tree" && mayLosePower && rm -rf "${place:?}/$archive" && mayLosePower &&
            rm -rf "${place:?}/.$tree" "${place:?}/.$archive" || exit 1
    done
    rm -f "$oldArchive"
}

tarAndCopy() {
    isMounted migration || fail "the migration partition is not mounted"
    backupBase
    pack "$base" "$state/mnt/migration/$archive"
    [ "$base" = "$state/mnt/migration" ] || copyTree "$base" "$state/mnt/migration"
}

copyAndUntar() {
    isMounted migration || fail "the migration partition is not mounted"
    restoreBase
    if [ -f "$partition/$archive" ]; then
        unpack "$partition/$archive" "$base" "$tree"
    elif [ -f "$partition/$legacyArchive" ]; then
        unpack "$partition/$legacyArchive" "$VBSET_TV/nonvolatile/work" "${legacyFile%/*}"
        # A tree that an earlier restore left would be taken for this box's.
        rm -rf "${base:?}/$tree"
    else
        fail "there is no backup on the migration partition"
    fi
}

packForBox() {
    backupBase
    mapPath "$boxArchive" && pack "$base" "$host"
}

unpackFromBox() {
    restoreBase
    mapPath "$boxArchive" || exit 1
    [ -f "$host" ] || fail "there is no $boxArchive"
    unpack "$host" "$base" "$tree"
}

[ $# -eq 1 ] || refuse "takes one word"
case $1 in
    InsmodMig) : >"$state/module" ;;
    UnMoungNRmmod)
        ! isMounted migration || umount migration
        rm -f "$state/module"
        ;;
    UnmountMig) umount migration ;;
    cleanbkup) cleanBackup ;;
    tarncpy) tarAndCopy ;;
    cpynuntar) copyAndUntar ;;
    Bkup13) packForBox ;;
    Restor13) unpackFromBox ;;
    *) refuse "there is no '$1'" ;;
esac
