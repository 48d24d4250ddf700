# shellcheck shell=sh
# Debian 12 systems that have next to nothing, for trials: what try-bare.sh and try-packages.sh share.
# Sourced with `root` set to the checkout. Wants root, debootstrap and this machine's own package sources.

suite=bookworm

# Mounts are made in a space of our own and vanish with it. To be called first, with "$0" "$@".
in_own_space() {
    [ "${NULLPRINT_OWN_MOUNTS:-}" = 1 ] || exec env NULLPRINT_OWN_MOUNTS=1 unshare --mount "$@"
}

# Sets `work`: to a folder that is given, or to a new one that is removed in the end.
work_in() {
    if [ $# -gt 0 ]; then
        work=$1
        mkdir -p "$work"
        return
    fi
    work=$(mktemp -d /var/tmp/nullprint-systems-XXXXXX)
    trap remove_systems EXIT
}

remove_systems() {
    umount --recursive --lazy "$work"/*/dev "$work"/*/proc 2>/dev/null || :
    rm -rf --one-file-system "$work"
}

say() {
    printf '\n=== %s\n' "$*"
}

mirror() {
    # shellcheck disable=SC2016 # Field names of apt's own.
    apt-get indextargets --format '$(CODENAME) $(REPO_URI)' 'Created-By: Packages' |
        sed -n "s/^$suite //p" | head -n 1
}

# The base system with some packages, and with this machine's sources and settings for reaching them.
make_base() {
    [ -e "$work/base/.made" ] && return
    say "making a bare system"
    debootstrap --variant=minbase --include="$1" "$suite" "$work/base" "$(mirror)" \
        >"$work/debootstrap.log" 2>&1 || { tail -n 20 "$work/debootstrap.log"; exit 1; }
    rm -f "$work/base/etc/apt/sources.list"
    cp -a /etc/apt/sources.list* "$work/base/etc/apt/"
    apt-config dump | grep '^Acquire::' >"$work/base/etc/apt/apt.conf.d/90host" || :
    cp /etc/resolv.conf /etc/hosts "$work/base/etc/"
    rm -rf "$work/base/var/lib/apt/lists" "$work/base"/var/cache/apt/archives/*.deb
    touch "$work/base/.made"
}

# A copy of the base, `system` from now on, in which somebody may work.
make_system() {
    system=$work/$1
    [ -d "$system" ] && rm -rf --one-file-system "$system"
    cp -a "$work/base" "$system"
    mount -t proc proc "$system/proc"
    mount --rbind /dev "$system/dev"
}

# Runs a command in the system as somebody whose folder is `home`.
within() {
    who=$1
    shift
    chroot "$system" env -i HOME="${home:?}" USER="$who" TERM=dumb \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        setpriv --reuid="$who" --regid="$who" --init-groups "$@"
}
