#!/bin/sh
# Proves that a fresh clone runs on a Debian 12 that has nothing but git and a shell: once as root,
# once as a user with sudo. Wants root, debootstrap and this machine's own package sources.
#
#   packaging/try-bare.sh [--check] [folder]
#
# Runs what README.md shows and compares what is printed; with --check the tests as well. The two
# systems are made in `folder` (by default a new one under /var/tmp, removed in the end).
set -eu

root=$(dirname -- "$(dirname -- "$(readlink -f -- "$0")")")
suite=bookworm

# Mounts are made in a space of our own and vanish with it.
if [ "${NULLPRINT_OWN_MOUNTS:-}" != 1 ]; then
    exec env NULLPRINT_OWN_MOUNTS=1 unshare --mount "$0" "$@"
fi

with_check=
if [ "${1:-}" = --check ]; then
    with_check=1
    shift
fi
if [ $# -gt 0 ]; then
    work=$1
    mkdir -p "$work"
else
    work=$(mktemp -d /var/tmp/nullprint-bare-XXXXXX)
    trap 'umount "$work"/*/dev "$work"/*/proc 2>/dev/null || :; rm -rf --one-file-system "$work"' EXIT
fi

say() {
    printf '\n=== %s\n' "$*"
}

mirror() {
    # shellcheck disable=SC2016 # Field names of apt's own.
    apt-get indextargets --format '$(CODENAME) $(REPO_URI)' 'Created-By: Packages' |
        sed -n "s/^$suite //p" | head -n 1
}

# The base system, with this machine's sources and settings for reaching them.
make_base() {
    [ -e "$work/base/.made" ] && return
    say "making a bare system"
    debootstrap --variant=minbase --include=git,ca-certificates "$suite" "$work/base" "$(mirror)" \
        >"$work/debootstrap.log" 2>&1 || { tail -n 20 "$work/debootstrap.log"; exit 1; }
    rm -f "$work/base/etc/apt/sources.list"
    cp -a /etc/apt/sources.list* "$work/base/etc/apt/"
    apt-config dump | grep '^Acquire::' >"$work/base/etc/apt/apt.conf.d/90host" || :
    cp /etc/resolv.conf /etc/hosts "$work/base/etc/"
    rm -rf "$work/base/var/lib/apt/lists" "$work/base"/var/cache/apt/archives/*.deb
    touch "$work/base/.made"
}

# A copy of the base in which somebody may work.
make_system() {
    system=$work/$1
    [ -d "$system" ] && rm -rf --one-file-system "$system"
    cp -a "$work/base" "$system"
    mount -t proc proc "$system/proc"
    mount --rbind /dev "$system/dev"
    git -c safe.directory='*' clone -q --bare "$root" "$system/srv/nullprint.git"
}

within() {
    who=$1
    shift
    chroot "$system" env -i HOME="$home" USER="$who" TERM=dumb \
        PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
        setpriv --reuid="$who" --regid="$who" --init-groups "$@"
}

# The commands of README.md's first transcript, and what it says that they print.
# shellcheck disable=SC2016 # Backquotes of Markdown.
transcript_commands() {
    sed -n '/^```console/,/^```$/s/^\$ //p' "$root/README.md"
}

# shellcheck disable=SC2016
transcript() {
    sed -n '/^```console/,/^```$/{/^```/d;/^\$ /d;p;}' "$root/README.md" |
        sed "s#/home/jane/nullprint#$home/nullprint#"
}

timed() {
    start=$(date +%s)
    "$@"
    printf '(%s s)\n' "$(($(date +%s) - start))"
}

follow_readme() {
    who=$1
    chroot "$system" chown -R "$who" /srv/nullprint.git # git refuses what belongs to others.
    say "as $who: a fresh clone"
    within "$who" sh -ec 'cd; git clone -q /srv/nullprint.git nullprint'
    say "as $who: the first run"
    timed within "$who" sh -ec 'cd ~/nullprint && ./nullprint --version'
    say "as $who: the second run, which must be silent on standard error"
    within "$who" sh -ec 'cd / && ~/nullprint/nullprint --version 2>/tmp/errors; test ! -s /tmp/errors'
    say "as $who: the transcript of README.md"
    transcript_commands >"$system/tmp/commands"
    transcript >"$work/expected"
    # shellcheck disable=SC2016 # To be expanded inside.
    within "$who" sh -c 'cd ~/nullprint && . /tmp/commands' >"$work/printed"
    diff "$work/expected" "$work/printed" && echo "as printed there"
    within "$who" sh -ec 'cd ~/nullprint && ./nullprint --selftest'
    [ -z "$with_check" ] && return
    say "as $who: ./check"
    timed within "$who" sh -ec 'cd ~/nullprint && ./check'
}

without_rights() {
    say "as a user without sudo: one sentence, and status 1"
    chroot "$system" chown -R "$1" /srv/nullprint.git
    within "$1" sh -c 'cd; git clone -q /srv/nullprint.git nullprint
        ./nullprint/nullprint --version; echo "status $?"'
}

make_base

make_system as-root
home=/root
follow_readme root

make_system as-user
home=/home/jane
chroot "$system" useradd --create-home --shell /bin/sh jane
without_rights jane
rm -rf "$system/home/jane/nullprint"
chroot "$system" sh -ec 'apt-get update -q && DEBIAN_FRONTEND=noninteractive apt-get install -y -q \
    --no-install-recommends sudo' >"$work/sudo.log" 2>&1
echo 'jane ALL=(ALL) NOPASSWD: ALL' >"$system/etc/sudoers.d/jane"
rm -rf "$system/var/lib/apt/lists"
follow_readme jane

say "both went well"
