# shellcheck shell=bash
# Shared by the scripts in this folder: paths, messages, Wine prefixes, builds.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cache=${MENDLOFT_CACHE_DIR:-${XDG_CACHE_HOME:-$HOME/.cache}/mendloft}
# shellcheck disable=SC2034  # only other scripts read it
sevenzip_source=$cache/7zip
prefixes=${MENDLOFT_PREFIXES:-$root/build/prefixes}
script=$(basename "$0")
export LC_ALL=C.UTF-8 # Wine and 7-Zip would otherwise lose the non-ASCII characters of file names

say() { printf '%s: %s\n' "$script" "$*" >&2; }

fail() {
    say "$*"
    exit 1
}

# Reads the output of a tool, and prints how far it is after every 20 seconds: the printf format $1 with what
# the first group of the regular expression $2 matched last. With "lines" as the third argument, prints each
# line of the output too, and how far the tool is only after 20 seconds without a line.
progress() {
    local format=$1 pattern=$2 shows_lines=${3:-} status part line='' place=0 shown=$SECONDS
    while :; do
        status=0
        IFS= read -r -t 5 part || status=$? # more than 128: no whole line within that time
        line+=$part
        if [ "$status" = 0 ]; then
            if [[ $line =~ $pattern ]]; then place=${BASH_REMATCH[1]}; fi
            if [ -n "$shows_lines" ]; then
                printf '%s\n' "$line"
                shown=$SECONDS
            fi
            line=
        fi
        if ((SECONDS - shown >= 20)); then
            # shellcheck disable=SC2059  # the caller's format
            say "$(printf "$format" "$place")"
            shown=$SECONDS
        fi
        [ "$status" = 0 ] || [ "$status" -gt 128 ] || break
    done
    [ -z "$shows_lines" ] || printf '%s' "$line"
}

# Prints the name that `winecfg -v` has for the Windows version $1.
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

# Runs a command in the Wine prefix that is the folder $1 and has the bitness $2 (win32 or win64). It does not
# inherit the locks of these scripts, the descriptors 7 to 9, because a program that stays would keep them.
with_prefix() {
    local folder=$1 arch=$2
    shift 2
    WINEPREFIX=$folder WINEARCH=$arch WINEDEBUG=${WINEDEBUG:--all} \
        WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe,winedbg.exe=d" "$@" 7>&- 8>&- 9>&-
}

# Runs a command in the project's prefix named $1.
in_prefix() {
    local name=$1
    shift
    with_prefix "$prefixes/$name" "${name%%-*}" "$@"
}

# Replaces the copies of Wine's own files, which are nearly all of a new prefix, by links to the originals.
link_originals() {
    local size name file original
    local -A originals=()
    while read -r size name file; do
        originals[$size $name]+="$file "
    done < <(find /usr/lib*/wine /usr/lib/*/wine -path '*-windows/*' -type f -printf '%s %f %p\n' 2>/dev/null)
    find "$1/drive_c" -type f -printf '%s %f %p\n' | while read -r size name file; do
        for original in ${originals[$size $name]:-}; do
            if cmp -s "$original" "$file"; then
                ln -sf "$original" "$file"
                break
            fi
        done
    done
}

# Makes a prefix of the bitness $1 as the folder $2. In memory and on one processor that takes a third of the
# time. A subshell, so that its trap leaves nothing in memory, however it ends.
make_first_prefix() (
    arch=$1 folder=$2
    new=$(make_folder_in_memory) || new=$(mktemp -d "$folder-XXXXXX")
    trap 'rm -rf "$new"' EXIT
    processor=$(taskset -cp $$ | sed 's/.*: //; s/[-,].*//')
    with_prefix "$new" "$arch" taskset -c "$processor" wine wineboot -i </dev/null >/dev/null 2>&1
    with_prefix "$new" "$arch" wineserver -w
    [ -e "$new/system.reg" ] || fail "Wine could not make a $arch prefix"
    link_originals "$new"
    rm -rf "$folder.new"
    cp -a "$new" "$folder.new"
    mv "$folder.new" "$folder"
)

# Copies the prefix $1 to the folder $2, with hard links for the files that never change.
copy_prefix() {
    local file
    rm -rf "$2"
    cp -al "$1" "$2" 2>/dev/null || { rm -rf "$2" && cp -a "$1" "$2"; }
    for file in "$2"/*.reg; do # Wine rewrites these, so each prefix needs its own
        cp "$file" "$file.copy"
        mv "$file.copy" "$file"
    done
}

# Makes the prefix that all of the bitness $1 and the Windows version $2 are copied from, as the folder $3. The
# folder for the bitness alone, beside it, is made first.
make_template() {
    local arch=$1 version template=$3 first=${3%-*}
    version=$(winecfg_version "$2") || fail "no Windows version in the prefix name $arch-$2"
    say "making a template for Wine prefixes ($arch, Windows $2)"
    [ -e "$first" ] || make_first_prefix "$arch" "$first"
    copy_prefix "$first" "$template.new"
    with_prefix "$template.new" "$arch" wine winecfg -v "$version" </dev/null >/dev/null 2>&1
    with_prefix "$template.new" "$arch" wineserver -k 2>/dev/null || true # it may have ended already
    mv "$template.new" "$template"
}

# Makes the prefix named $1 unless it exists.
make_prefix() {
    local name=$1 version template folder=$prefixes/$1
    [ ! -e "$folder/.ready" ] || return 0
    version=${name#*-}
    mkdir -p "$prefixes" "$cache"
    template=$cache/prefix-$(wine --version | tr -dc 'A-Za-z0-9.-')-${name%@*}
    exec 9>"$cache/prefix.lock"
    flock 9
    if [ ! -e "$folder/.ready" ]; then
        [ -e "$template" ] || make_template "${name%%-*}" "${version%@*}" "$template"
        copy_prefix "$template" "$folder"
        touch "$folder/.ready"
    fi
    exec 9>&-
}

# Ends all programs in the prefix named $1, with Wine's server if there is one.
end_server() { in_prefix "$1" wineserver -k 2>/dev/null || true; }

# Has the prefixes in memory until leave_prefixes: tests take a quarter less time there. Does nothing where
# make_folder_in_memory fails.
keep_prefixes_in_memory() {
    local folder
    leave_prefixes # those of a run that was killed
    folder=$(make_folder_in_memory) || return 0
    rm -rf "$prefixes"
    ln -s "$folder" "$prefixes"
}

# Ends the idle servers, and removes the prefixes if they are in memory.
leave_prefixes() {
    end_idle_servers
    [ -L "$prefixes" ] || return 0
    rm -rf "$(readlink "$prefixes")"
    rm "$prefixes"
}

# Ends the servers of the prefixes that no run of scripts/wine-run uses.
end_idle_servers() {
    local use
    for use in "$prefixes"/*/.ready; do
        [ -e "$use" ] || continue
        exec 8<"$use"
        ! flock --nonblock 8 || end_server "$(basename "${use%/*}")"
    done
    exec 8<&-
}

# Makes a folder in memory and prints its path. Fails where memory is scarce (a prefix takes 1.3 GB before most of it
# becomes links), or where such a folder lacks what Wine needs: programs can be run from it, and files have extended
# attributes, in which Wine keeps those of Windows.
make_folder_in_memory() {
    local folder free_kb=4000000 room_kb=2000000
    (($(sed -n 's/^MemAvailable: *\([0-9]*\) kB/\1/p' /proc/meminfo) > free_kb)) || return 1
    folder=$(mktemp -d /dev/shm/mendloft-XXXXXX 2>/dev/null) || return 1
    if (($(df --output=avail "$folder" | tail -n 1) > room_kb)) && cp /bin/true "$folder" && "$folder/true" &&
        python3 -c "import os, sys; os.setxattr(sys.argv[1], 'user.mendloft', b'')" "$folder/true"; then
        rm "$folder/true"
        echo "$folder"
    else
        rm -rf "$folder"
        return 1
    fi 2>/dev/null
}

# Configures and builds the preset $1: everything, or only the targets that follow. Shows the output of
# the tools only when they fail.
build() {
    local preset=$1 log=$root/build/$1.log
    shift
    mkdir -p "$root/build"
    say "building ($preset)"
    use_compiler_cache
    (cd "$root" && cmake --preset "$preset" && cmake --build --preset "$preset" ${1:+--target "$@"}) 2>&1 |
        tee "$log" | progress "building ($preset): step %s" '^\[([0-9]+/[0-9]+)\]' || {
        tail -n 60 "$log" >&2
        fail "the build failed; all of its output is in $log"
    }
}

# Lets compilers take from a cache what has been compiled before, above all 7-Zip for another preset or
# another clone.
use_compiler_cache() {
    command -v ccache >/dev/null || return 0
    export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
    export CCACHE_DIR=$cache/ccache CCACHE_MAXSIZE=2G CCACHE_BASEDIR=$root CCACHE_NOHASHDIR=1
}
