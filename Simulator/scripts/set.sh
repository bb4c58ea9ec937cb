# shellcheck shell=sh disable=SC2034 # what is set here is for the scripts
# What the set's shell and scripts share. They run on the host, on the directories of the set that VBSET_TV and
# VBSET_BOX name; no path of the set is ever used as it stands.

export LC_ALL=C
unset TAR_OPTIONS GZIP POSIXLY_CORRECT CDPATH
umask 022
set -f

say() {
    printf '%s: %s\n' "${0##*/}" "$*" >&2
}

fail() {
    say "$@"
    exit 1
}

# Exit status 126: not a command of this set.
refuse() {
    say "$@"
    exit 126
}

if [ -z "${VBSET_TV-}" ] || [ -z "${VBSET_BOX-}" ]; then
    refuse "not on a set: VBSET_TV and VBSET_BOX name its directories"
fi
state=$VBSET_TV/volatile
[ -f "$state/joined" ] || refuse "the set is off"

# cutHere: a step is over, or about to be done by half. True when the power is to go away at this one: VBSET_CUT is
# "INTERACTION.STEP" then. The interaction that is going on is the one after the last that is over.
steps=0
cutHere() {
    case ${VBSET_CUT-} in
        *.*) ;;
        *) return 1 ;;
    esac
    last=$(od -An -t u8 -N 8 "$state/counter")
    [ "${VBSET_CUT%%.*}" -eq $((last + 1)) ] || return 1
    steps=$((steps + 1))
    step=${VBSET_CUT#*.}
    [ "${step%%-*}" -eq "$steps" ]
}

# losePower: tells who watches over the run, and stands still until it ends everything.
losePower() {
    kill -"${VBSET_POWER_SWITCH#* }" "${VBSET_POWER_SWITCH% *}"
    while :; do sleep 3600; done
}

# mayLosePower: where nothing has to be done by half.
mayLosePower() {
    ! cutHere || losePower
}

# keepHalf FILE: what there is when the power goes away while a file is written.
keepHalf() {
    truncate -s "$(($(wc -c <"$1") / 2))" "$1"
}

# synced PARTITION: what is on it survives a power cut from now on.
synced() {
    [ -d "$state/durable" ] || return 0
    partition "$1"
    rm -rf "$state/durable/$1"
    [ ! -d "$partition" ] || cp -R "$partition" "$state/durable/$1"
}

# fault KEY: sets $value, and writes down that it was asked for. False when the fault is off.
fault() {
    value=
    [ -f "$state/faults" ] || return 1
    while IFS= read -r faultLine || [ -n "$faultLine" ]; do
        case $faultLine in
            "$1="*)
                value=${faultLine#"$1="}
                printf '%s\n' "$1" >>"$state/faults_met"
                return 0
                ;;
        esac
    done <"$state/faults"
    return 1
}

# mapPath PATH: sets $host to where a path of the set lies, $plain to the path without ".", ".." and doubled slashes.
# False when the path is not one of the set's.
mapPath() {
    host=
    plain=
    case $1 in
        /*) ;;
        *) return 1 ;;
    esac
    oldIFS=$IFS
    IFS=/
    for part in $1; do
        case $part in
            '' | .) ;;
            ..) plain=${plain%/*} ;;
            *) plain=$plain/$part ;;
        esac
    done
    IFS=$oldIFS
    while IFS='	' read -r prefix target; do
        case $plain in
            "$prefix" | "$prefix"/*)
                host=$target${plain#"$prefix"}
                return 0
                ;;
        esac
    done <"$state/paths"
    return 1
}

# partition NAME: sets $partition to the directory with its contents and $bare to what is seen where it is not mounted.
# "root" is the TV's own file system.
partition() {
    case $1 in
        migration)
            partition=$VBSET_BOX/nonvolatile/migration
            bare=$VBSET_TV/nonvolatile/root/opt/korvane_vbmg
            ;;
        data_sync)
            partition=$VBSET_TV/nonvolatile/data_sync
            bare=$VBSET_TV/nonvolatile/root/opt/tv/migration/service
            ;;
        root)
            partition=$VBSET_TV/nonvolatile/root
            bare=
            ;;
        *) refuse "there is no partition '$1'" ;;
    esac
}

isMounted() {
    partition "$1"
    [ "$(readlink "$state/mnt/$1")" = "$partition" ]
}

# showAt NAME DIRECTORY: what is seen at the mount point of a partition, exchanged in one step.
showAt() {
    rm -f "$state/mnt/.$1" && ln -s "$2" "$state/mnt/.$1" && mv -T "$state/mnt/.$1" "$state/mnt/$1"
}

mount() {
    partition "$1"
    [ -d "$partition" ] || fail "partition $1 cannot be mounted: it was never formatted"
    # The flash of the box is only there with its module; mounting loads it.
    [ "$1" != migration ] || : >"$state/module" || exit 1
    showAt "$1" "$partition" || exit 1
}

umount() {
    isMounted "$1" || fail "partition $1 is not mounted"
    synced "$1"
    mkdir -p "$bare" && showAt "$1" "$bare" || exit 1
}

bytesBelow() {
    find "$1/" -type f -printf '%s\n' | {
        sum=0
        while read -r size; do sum=$((sum + size)); done
        echo "$sum"
    }
}

# roomLeft PARTITION: sets $room to the bytes that still fit. False when there is no limit. The number in the fault is
# the room when the set first looked after it was switched on, and what was in use then is kept in a file.
roomLeft() {
    fault "flash.$1.free" || return 1
    free=$value
    partition "$1"
    used=$(bytesBelow "$partition")
    then=$state/flash.$1.$free
    if [ ! -f "$then" ]; then
        echo "$used" >"$then.$$" && mv "$then.$$" "$then" || exit 1
    fi
    read -r usedThen <"$then"
    room=$((usedThen + free - used))
    [ "$room" -gt 0 ] || room=0
}
