#!/bin/sh
# Proves that a commit yields the same packages twice: made in other folders, under another user
# mask, home, language and time zone, and without anything kept from the first time.
#
#   packaging/try-reproducible.sh [--without-desktop]
set -eu
unset CDPATH

root=$(dirname -- "$(dirname -- "$(readlink -f -- "$0")")")
work=$(mktemp -d /var/tmp/nullprint-reproducible-XXXXXX)
trap 'rm -rf "$work"' EXIT
mkdir "$work/first" "$work/second" "$work/home"

CCACHE_DISABLE=1 "$root/packaging/make-packages.sh" "$@" "$work/first"
(
    umask 027
    env CCACHE_DISABLE=1 HOME="$work/home" LC_ALL=C.UTF-8 TZ=Pacific/Kiritimati \
        TMPDIR="$work/home" "$root/packaging/make-packages.sh" "$@" "$work/second"
)
for package in "$work/first"/*.deb; do
    cmp "$package" "$work/second/${package##*/}"
    sha256sum "$package" | sed "s#$work/first/##"
done
echo "the same packages twice"
