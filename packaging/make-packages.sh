#!/bin/sh
# Makes the Debian packages of the commit that is checked out.
#
#   packaging/make-packages.sh [--without-desktop] [folder]
#
# They are put into `folder`, by default build/packages. What is not committed is not in them, and a
# commit yields the same packages wherever and whenever they are made: its own date is the packages'.
set -eu
unset CDPATH

root=$(dirname -- "$(dirname -- "$(readlink -f -- "$0")")")
. "$root/packaging/setup.sh"
profiles=
groups='build application package'
if [ "${1:-}" = --without-desktop ]; then
    profiles=--build-profiles=pkg.nullprint.nodesktop
    groups='build package'
    shift
fi
packages=${1:-$build/packages}
mkdir -p "$build" "$packages"
# shellcheck disable=SC2086 # A list of words.
install_packages $groups || exit 1

# Where a compiler's cache finds what it has seen, when they are made again.
lock_build
packages=$(cd "$packages" && pwd)
work=$packages/.work
rm -rf "$work"
trap 'rm -rf "$work"' EXIT
sources=$work/nullprint
mkdir -p "$sources"
(cd "$root" && git -c safe.directory='*' archive HEAD) | tar -x -C "$sources"
version=$(sed -n 's/^project(nullprint VERSION \([0-9.]*\).*/\1/p' "$sources/CMakeLists.txt")
cp -r "$sources/packaging/debian" "$sources/debian"

# The list of packages has one place, which is not here.
build_depends=$(packages_of build application | sed '$!s/$/,/' | tr '\n' ' ')
sed "s/@BUILD_DEPENDS@/${build_depends% }/" "$sources/debian/control.in" >"$sources/debian/control"
rm "$sources/debian/control.in"

# The items of the first section of CHANGELOG.md, in lines as short as a Debian changelog has them.
news() {
    awk -v version="$version" '
        function put(word) {
            if (length(line word) > 76) { print line; line = "   " }
            line = line " " word
        }
        function finish() { if (line != "") print line; line = "" }
        /^## / && seen { exit }
        /^## / { seen = 1; wrong = $2 != version; if (wrong) exit; next }
        seen && /^- / { finish(); line = "  *"; $1 = "" }
        seen && line != "" { for (i = 1; i <= NF; ++i) if ($i != "") put($i) }
        END { finish(); exit wrong || !seen }' "$sources/CHANGELOG.md"
}

{
    printf 'nullprint (%s) bookworm; urgency=medium\n\n' "$version"
    news || give_up "CHANGELOG.md does not begin with version $version"
    printf '\n -- Nullprint maintainers <maintainers@nullprint.org>  %s\n' \
        "$(cd "$root" && git -c safe.directory='*' log -1 --format=%cD)"
} >"$sources/debian/changelog"

# Whoever builds has a home of their own, and the cache is still where it was.
export CCACHE_DIR="${CCACHE_DIR:-$HOME/.cache/ccache}"
say "making the packages of version $version"
in_sources() {
    # shellcheck disable=SC2086 # None or one word.
    cd "$sources" && dpkg-buildpackage -b -us -uc --no-check-builddeps $profiles
}
quietly in_sources || give_up "the packages could not be made"
mv "$work"/*.deb "$packages"
for package in "$packages"/*_"$version"_*.deb; do
    printf '%s\n' "$package"
done
