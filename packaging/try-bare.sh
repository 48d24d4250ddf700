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
. "$root/packaging/bare.sh"
in_own_space "$0" "$@"

with_check=
if [ "${1:-}" = --check ]; then
    with_check=1
    shift
fi
work_in "$@"

# A system with a clone of this checkout to be cloned from.
make_system_with_sources() {
    make_system "$1"
    git -c safe.directory='*' clone -q --bare "$root" "$system/srv/nullprint.git"
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

make_base git,ca-certificates

make_system_with_sources as-root
home=/root
follow_readme root

make_system_with_sources as-user
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
