#!/bin/sh
# Tries the packages in Debian systems of their own: installs, runs, right-clicks, upgrades, purges.
# Wants root, debootstrap and this machine's own package sources, and some minutes.
#
#   packaging/try-packages.sh [--without-desktop] [folder]
#
# The packages are made of the commit that is checked out. The systems are made in `folder` (by default
# a new one under /var/tmp, removed in the end); packages that are in `folder`/packages already are not
# made again. Pictures of the desktop are left in build/pictures.
#
# shellcheck disable=SC2016 # Most of what is quoted is to be expanded inside a system.
set -eu

root=$(dirname -- "$(dirname -- "$(readlink -f -- "$0")")")
. "$root/packaging/bare.sh"
in_own_space "$0" "$@"

desktop=--with-desktop
if [ "${1:-}" = --without-desktop ]; then
    desktop=--without-desktop
    shift
fi
work_in "$@"
home=/root

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

in_system() {
    within root sh -ec "$1"
}

# In a shell of its own, whose status is that of the command also where `||` follows.
as_jane() (
    home=/home/jane
    within jane sh -ec "cd; $1"
)

apt_get() {
    in_system "DEBIAN_FRONTEND=noninteractive apt-get -y -q --no-install-recommends $* >/tmp/apt.log 2>&1 ||
        { tail -n 30 /tmp/apt.log; exit 1; }"
}

# What lies about that bears our name, but for what is a user's own.
traces() {
    in_system 'find / -xdev \( -path /proc -o -path /srv -o -path /tmp -o -path /home -o -path /root \
        -o -path /var/cache/apt -o -path /var/log -o -path /var/lib/apt \) -prune \
        -o -iname "*nullprint*" -print'
}

purge() {
    say "purging $*"
    apt_get purge "$@"
    left=$(traces)
    [ -z "$left" ] || fail "left behind: $left"
    in_system '! grep -qi nullprint /usr/share/applications/mimeinfo.cache 2>/dev/null' ||
        fail "the list of programs for types still has it"
    echo "nothing is left"
}

# A package as it might have been before: an older version, with a file that is no longer there.
older() {
    rm -rf "$work/older"
    dpkg-deb -R "$1" "$work/older"
    sed -i 's/^Version: .*/Version: 1.0/; s/nullprint (= [^)]*)/nullprint (= 1.0)/' "$work/older/DEBIAN/control"
    mkdir -p "$work/older/usr/share/nullprint-of-before"
    echo old >"$work/older/usr/share/nullprint-of-before/${1##*/}"
    dpkg-deb --root-owner-group -b "$work/older" "$2" >/dev/null
}

new_system() {
    make_system "$1"
    in_system 'useradd --create-home --shell /bin/sh jane; apt-get update -q >/dev/null'
    cp "$work/packages"/*.deb "$system/srv/"
    mkdir "$system/srv/examples"
    cp "$root/examples/harbour.jpg" "$system/srv/examples/photo.jpg"
    cp "$root/tests/cli/files/Report.docx" "$root/tests/cli/files/letter.pdf" "$system/srv/examples/"
}

clean_three() {
    say "a photo, a Word document and a PDF"
    as_jane 'rm -rf three; cp -r /srv/examples three; cd three; nullprint --scrub photo.jpg Report.docx letter.pdf'
    as_jane 'cd three; nullprint --inspect *scrubbed*; cmp photo.jpg /srv/examples/photo.jpg'
    as_jane 'cd three; nullprint --reveal photo.jpg letter.pdf | grep -c "No hidden metadata" | grep -qx 0'
    as_jane 'cd three; nullprint --reveal *scrubbed*.jpg *scrubbed*.pdf | grep -c "No hidden metadata" | grep -qx 2' ||
        fail "the copies are not clean"
    as_jane 'nullprint --selftest'
}

try_command_line() {
    new_system command-line
    say "the command line alone, without recommended packages"
    in_system 'dpkg-query -W -f "\${Package}\n" | sort >/tmp/before'
    # As README.md says.
    sed -n 's#^    sudo apt install \./build/packages/#apt-get install --no-install-recommends -y -q /srv/#p' \
        "$root/README.md" >"$system/tmp/install"
    [ -s "$system/tmp/install" ] || fail "README.md does not say how to install"
    in_system '. /tmp/install >/tmp/apt.log 2>&1 || { tail -n 30 /tmp/apt.log; exit 1; }'
    in_system 'dpkg-query -W -f "\${Package}\n" | sort | comm -13 /tmp/before - | tr "\n" " "'
    in_system 'dpkg-query -W | grep -i -e qt -e libx11 && exit 1; true' || fail "it brought a desktop"
    as_jane 'nullprint --version'
    clean_three
    say "the application, which is not there: one sentence, and status 1"
    as_jane 'status=0; nullprint || status=$?; test $status = 1'
    say "upgrading"
    older "$work"/packages/nullprint_*.deb "$system/srv/older.deb"
    apt_get install --allow-downgrades /srv/older.deb
    in_system 'test -e /usr/share/nullprint-of-before'
    in_system '. /tmp/install >/tmp/apt.log 2>&1'
    in_system 'test ! -e /usr/share/nullprint-of-before'
    as_jane 'nullprint --version'
    purge nullprint
}

# A viewer of pictures is there before, and another one comes later; both stay the first choice.
expect_viewer() {
    as_jane 'update-desktop-database -q ~/.local/share/applications 2>/dev/null || :
        for type in image/jpeg image/png image/tiff; do
            choice=$(LC_ALL=C.UTF-8 gio mime $type | head -n 1); echo "$choice"
            case $choice in *ullprint*) exit 1 ;; *.desktop) ;; *) exit 1 ;; esac
        done' || fail "a picture would open with it"
    as_jane 'gio mime image/jpeg | grep -q "zz-org.nullprint.Nullprint.open.desktop"' ||
        fail "it is not offered to open a picture with"
}

# Whatever is recommended is to be had, and asks for nothing that is in the way.
expect_recommended() {
    in_system 'recommended=$(dpkg-deb -f /srv/nullprint-desktop_*.deb Recommends | sed "s/|[^,]*//g; s/,/ /g")
        apt-get install --install-recommends -s -q /srv/nullprint_*.deb /srv/nullprint-desktop_*.deb >/tmp/recommended
        for name in $recommended; do
            grep -q "^Inst $name " /tmp/recommended || dpkg-query -W "$name" >/dev/null || { echo "$name"; exit 1; }
        done
        ! grep "^Remv" /tmp/recommended' || fail "what is recommended cannot be installed"
}

try_desktop() {
    new_system desktop
    expect_recommended
    say "the application, over an older one, beside file managers and viewers"
    apt_get install thunar nemo caja caja-actions pcmanfm libfm-modules nautilus python3-nautilus dolphin \
        ristretto xvfb openbox xdotool \
        dbus at-spi2-core python3-pyatspi libgail-common libatk-adaptor librsvg2-common \
        fonts-dejavu-core fonts-noto-color-emoji adwaita-icon-theme shared-mime-info libglib2.0-bin \
        xdg-utils desktop-file-utils
    for name in nullprint nullprint-desktop; do
        older "$work/packages/$name"_*.deb "$system/srv/older-$name.deb"
    done
    apt_get install /srv/older-nullprint.deb /srv/older-nullprint-desktop.deb
    rm "$system"/srv/older-*.deb
    expect_viewer
    apt_get install '/srv/nullprint_*.deb /srv/nullprint-desktop_*.deb'
    in_system 'test ! -e /usr/share/nullprint-of-before'
    expect_viewer
    apt_get install gpicview
    expect_viewer
    apt_get install imagemagick # For pictures of the display; as a viewer it would be everybody's first.
    clean_three
    say "the context menus"
    install -m 755 "$root/packaging/try-desktop.py" "$system/srv/try-desktop.py"
    mkdir -p "$root/build/pictures"
    rm -f "$root"/build/pictures/*.png
    install -d -m 777 "$system/srv/pictures"
    status=0
    as_jane '/srv/try-desktop.py /srv/pictures thunar nemo caja pcmanfm nautilus dolphin 2>/tmp/desktop.log' || status=$?
    cp "$system"/srv/pictures/*.png "$root/build/pictures/"
    [ $status = 0 ] || { tail -n 20 "$system/tmp/desktop.log"; fail "see build/pictures"; }
    purge nullprint-desktop nullprint
}

mkdir -p "$work/packages"
if [ -z "$(find "$work/packages" -name '*.deb')" ]; then
    if [ "$desktop" = --without-desktop ]; then
        "$root/packaging/make-packages.sh" --without-desktop "$work/packages"
    else
        "$root/packaging/make-packages.sh" "$work/packages"
    fi
    rm -f "$work/packages"/*-dbgsym_*.deb
fi
say "lintian"
lintian -I --fail-on error,warning,info "$work"/packages/*.deb
echo "has nothing to say"

make_base ca-certificates
try_command_line
[ "$desktop" = --without-desktop ] || try_desktop

say "all went well"
