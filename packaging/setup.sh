# shellcheck shell=sh
# Setting up: what ./nullprint and ./check share. Sourced with `root` set to the checkout.
# Everything said here goes to standard error, and only when there is something to do.

build=${root:?}/build

say() {
    printf 'nullprint: %s\n' "$*" >&2
}

give_up() {
    say "$@"
    exit 1
}

# The packages of some groups of packages.txt.
packages_of() {
    for group in "$@"; do
        sed -n "s/^$group  *//p" "$root/packaging/packages.txt"
    done
}

missing_of() {
    command -v dpkg-query >/dev/null || return 0 # Not Debian: CMake says what it does not find.
    packages_of "$@" | while read -r package; do
        case $(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null) in
            installed) ;;
            *) printf '%s ' "$package" ;;
        esac
    done
}

# Runs a command quietly: its output is in a log, and shown when it fails.
quietly() {
    log=$build/setup.log
    "$@" </dev/null >"$log" 2>&1 && return 0
    tail -n 60 "$log" >&2
    say "the whole output is in $log"
    return 1
}

as_root() {
    if [ "$(id -u)" = 0 ]; then
        DEBIAN_FRONTEND=noninteractive "$@"
    else
        sudo DEBIAN_FRONTEND=noninteractive "$@"
    fi
}

apt_install() {
    as_root apt-get install -y -q --no-install-recommends -o DPkg::Lock::Timeout=300 "$@"
}

# The package lists of a fresh or an old machine may not name what is there today.
apt_install_or_update() {
    apt_install "$@" && return 0
    as_root apt-get update -q -o DPkg::Lock::Timeout=300 && apt_install "$@"
}

can_install() {
    [ "$(id -u)" = 0 ] || command -v sudo >/dev/null
}

# Installs the packages of some groups, where they are missing. Fails when that cannot be.
install_packages() {
    missing=$(missing_of "$@")
    missing=${missing% }
    [ -z "$missing" ] && return 0
    if ! can_install; then
        say "these Debian packages are missing, and installing them takes root or sudo: $missing"
        return 1
    fi
    say "installing Debian packages: $missing"
    # shellcheck disable=SC2086 # A list of words.
    quietly apt_install_or_update $missing && return 0
    say "these Debian packages are missing and could not be installed: $missing"
    return 1
}

# One at a time: whoever comes second waits, and then finds everything done.
lock_build() {
    { mkdir -p "$build" && : >>"$build/.lock"; } 2>/dev/null ||
        give_up "cannot write to $build, where the program is built"
    exec 9>>"$build/.lock"
    if ! flock -n 9; then
        say "waiting for another run that is setting up"
        flock 9
    fi
}

unlock_build() {
    exec 9>&-
}

# Whether something that the program is built from is newer than the last build. Folders are looked
# at too: they tell of files that are gone.
is_stale() {
    [ -x "$build/nullprint" ] && [ -e "$build/.built" ] || return 0
    [ -n "$(find -H "$root/CMakeLists.txt" "$root/CMakePresets.json" "$root/cmake" "$root/engine" \
        "$root/cli" "$root/app" "$root/packaging/packages.txt" -newer "$build/.built" \
        -print -quit 2>/dev/null)" ]
}

# Configures a preset. A build folder that came along with a moved checkout starts anew.
configure() {
    preset=$1
    folder=$2
    fresh=
    if [ -e "$folder/CMakeCache.txt" ] &&
        ! grep -qxF "CMAKE_HOME_DIRECTORY:INTERNAL=$root" "$folder/CMakeCache.txt"; then
        fresh=--fresh
    fi
    # shellcheck disable=SC2086 # None or one word.
    (cd "$root" && cmake $fresh --preset "$preset")
}

configure_and_build() {
    quietly configure "$1" "$2" || return 1
    shift
    quietly cmake --build "$@"
}

# With the build locked.
build_program() {
    install_packages build || exit 1
    install_packages application || say "going on without them: there will be no menu-bar application"
    say "building (the first time takes some minutes)"
    # From before the build, so that what changes meanwhile is built the next time.
    touch "$build/.building"
    configure_and_build release "$build" --target nullprint || give_up "the build failed"
    mv "$build/.building" "$build/.built"
}

# Makes build/nullprint what the sources say.
ensure_program() {
    is_stale || return 0
    lock_build
    if is_stale; then
        build_program
    fi
    unlock_build
}
