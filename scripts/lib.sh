# shellcheck shell=bash
# Shared by the scripts in this folder: paths, messages, Wine prefixes, builds.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cache=${MENDLOFT_CACHE_DIR:-${XDG_CACHE_HOME:-$HOME/.cache}/mendloft}
# shellcheck disable=SC2034  # only other scripts read it
sevenzip_source=$cache/7zip
prefixes=${MENDLOFT_PREFIXES:-$root/build/prefixes}
script=$(basename "$0")
export LC_ALL=C.UTF-8 # or Wine and 7-Zip would lose what a file name has beyond ASCII

say() { printf '%s: %s\n' "$script" "$*" >&2; }

fail() {
    say "$*"
    exit 1
}

# Prints what `winecfg -v` calls a Windows version.
winecfg_version() {
    case "$1" in
        5.1) echo winxp ;;
        5.2) echo winxp64 ;;
        6.0) echo vista ;;
        6.1) echo win7 ;;
        6.2) echo win8 ;;
        6.3) echo win81 ;;
        10.0) echo win10 ;;
        *) return 1 ;;
    esac
}

# Runs a command with the folder $1 as its Wine prefix, of the bitness $2 (win32 or win64).
with_prefix() {
    local folder=$1 arch=$2
    shift 2
    WINEPREFIX=$folder WINEARCH=$arch WINEDEBUG=${WINEDEBUG:--all} \
        WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe,winedbg.exe=d" "$@"
}

# Runs a command with the prefix of that name.
in_prefix() {
    local name=$1
    shift
    with_prefix "$prefixes/$name" "${name%%-*}" "$@"
}

# Makes the untouched prefix that all prefixes of one bitness are copied from; it takes some seconds.
make_template() {
    local arch=$1 template=$2
    say "making a Wine prefix to copy from ($arch)"
    rm -rf "$template.new"
    mkdir -p "$template.new"
    with_prefix "$template.new" "$arch" wine wineboot -i </dev/null >/dev/null 2>&1
    with_prefix "$template.new" "$arch" wineserver -w
    [ -e "$template.new/system.reg" ] || fail "Wine could not make a $arch prefix"
    mv "$template.new" "$template"
}

# Makes the prefix of that name unless it is there: a copy of the template whose unchanging files are
# hard links, set to the Windows version of its name.
make_prefix() {
    local name=$1 arch=${1%%-*} version template folder=$prefixes/$1
    [ ! -e "$folder/.ready" ] || return 0
    version=${name#*-}
    version=$(winecfg_version "${version%%@*}") || fail "no Windows version in the prefix name $name"
    mkdir -p "$prefixes" "$cache"
    template=$cache/wine-$(wine --version | tr -dc 'A-Za-z0-9.-')-$arch
    exec 9>"$cache/prefix.lock"
    flock 9
    if [ ! -e "$folder/.ready" ]; then
        [ -e "$template" ] || make_template "$arch" "$template"
        rm -rf "$folder"
        cp -al "$template" "$folder" 2>/dev/null || { rm -rf "$folder" && cp -a "$template" "$folder"; }
        local file
        for file in "$folder"/*.reg; do # Wine rewrites these, so each prefix has its own
            cp "$file" "$file.copy"
            mv "$file.copy" "$file"
        done
        in_prefix "$name" wine winecfg -v "$version" </dev/null >/dev/null 2>&1 9>&-
        in_prefix "$name" wineserver -w 9>&-
        touch "$folder/.ready"
    fi
    exec 9>&-
}

# Configures and builds one of the presets: everything, or the targets that are named behind it. What
# the tools say is shown only when they fail.
build() {
    local preset=$1 log=$root/build/$1.log
    shift
    mkdir -p "$root/build"
    say "building ($preset)"
    (cd "$root" && cmake --preset "$preset" && cmake --build --preset "$preset" ${1:+--target "$@"}) >"$log" 2>&1 || {
        tail -n 60 "$log" >&2
        fail "the build failed; all of its output is in $log"
    }
}
