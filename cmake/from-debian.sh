# What the folders beside this file share: a dependency, built from Debian's source package or unpacked from its packages,
# in a cache outside the tree; an entry there is used again as long as the scripts, the headers beside them and the
# compiler stay the same.
#
# The sources come from Debian, whatever this system's own package lists say; apt checks signatures and sums.
#
# Set before: here (the folder of the script that reads this file), compiler, archiver.
mirror=${VYR_DEBIAN_MIRROR:-http://deb.debian.org/debian}
suite=bookworm

say() { printf '%s\n' "$*" >&2; }

# run LOG COMMAND...
run() {
    log=$1
    shift
    set +e # a condition around the call would switch "stop at the first failure" off inside it
    (
        set -e
        "$@"
    ) >"$log" 2>&1
    status=$?
    set -e
    [ "$status" -eq 0 ] || {
        tail -n 40 "$log" >&2
        say "$here: failed: $1; the whole log is $PWD/$log"
        exit 1
    }
}

# own_apt KIND [OPTION...]: the lists of Debian's sources (deb-src) or packages (deb) in ./apt; $own are the options for
# apt-get that use them and nothing of this system.
own_apt() {
    mkdir -p apt/lists/partial apt/cache/archives/partial
    : >apt/status
    echo "$1 [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $mirror $suite main" >apt/sources.list
    shift
    own="-o Dir::Etc::SourceList=$PWD/apt/sources.list -o Dir::Etc::SourceParts=- -o APT::Sandbox::User=$(id -un)
         -o Dir::State::Lists=$PWD/apt/lists -o Dir::State::Status=$PWD/apt/status -o Dir::Cache=$PWD/apt/cache $*"
    # The options are words of their own.
    # shellcheck disable=SC2086
    run update.log apt-get $own -q update
}

# fetch PACKAGE VERSION: its sources
fetch() {
    own_apt deb-src
    # shellcheck disable=SC2086
    run source.log apt-get $own -q source --only-source "$1/$suite"
    [ -d "$1-$2" ] || {
        say "$here: $suite has no $1-$2 any more"
        exit 1
    }
}

# from_debian NAME PACKAGE VERSION: prints the folder ~/.cache/vyr-NAME/... with what the function `build` of the
# caller, called beside the package's sources, has put into $out/include, $out/lib and $out/licence.
from_debian() {
    for program in "$compiler" "$archiver" apt-get dpkg-source; do
        command -v "$program" >/dev/null || {
            say "$here: there is no $program"
            exit 1
        }
    done
    cache=${XDG_CACHE_HOME:-$HOME/.cache}/vyr-$1
    key=$({ cat "$here"/* "$here/../from-debian.sh"; "$compiler" -v 2>&1; } | sha256sum | cut -c 1-16)
    entry=$cache/$3-$key
    if [ ! -d "$entry" ]; then
        mkdir -p "$cache"
        work=$(mktemp -d "$cache/building.XXXXXX")
        cd "$work"
        out=$work/out
        mkdir -p "$out/include" "$out/lib" "$out/licence"
        say "fetching the sources of $2"
        fetch "$2" "$3"
        say "building $1 with $compiler"
        run build.log build
        mv -T "$out" "$entry" 2>/dev/null || [ -d "$entry" ] # another run may have been faster
        cd /
        rm -rf "$work"
    fi
    echo "$entry"
}
