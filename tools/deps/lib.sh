# shellcheck shell=bash
# Helpers for building the project's third-party dependencies.
# Source this file; it defines functions and TALVORAN_CACHE, nothing else.

TALVORAN_CACHE=${TALVORAN_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/talvoran-cryptxml}
export TALVORAN_CACHE

# Suites searched for Debian source packages (private apt configuration).
TALVORAN_APT_SUITES=${TALVORAN_APT_SUITES:-"bookworm trixie"}
TALVORAN_APT_MIRROR=${TALVORAN_APT_MIRROR:-http://deb.debian.org/debian}

die() {
    echo "error: $*" >&2
    exit 1
}

log() {
    echo "[deps] $*" >&2
}

# Writes the private apt configuration (idempotent) and prints its apt.conf path.
_talvoran_apt_setup() {
    local root="$TALVORAN_CACHE/apt"
    mkdir -p "$root/lists/partial" "$root/cache/archives/partial" \
             "$root/sourceparts" "$root/preferences.d" "$root/trusted.gpg.d" || return 1
    local sources="" suite
    for suite in $TALVORAN_APT_SUITES; do
        sources+="deb-src [signed-by=/usr/share/keyrings/debian-archive-keyring.gpg] $TALVORAN_APT_MIRROR $suite main"$'\n'
    done
    if [ ! -f "$root/sources.list" ] || [ "$(cat "$root/sources.list")"$'\n' != "$sources" ]; then
        printf '%s' "$sources" > "$root/sources.list"
        rm -f "$root"/lists/*_Sources* "$root"/lists/*Release* 2>/dev/null || true
    fi
    cat > "$root/apt.conf.new" <<CONF
Dir::Etc::SourceList "$root/sources.list";
Dir::Etc::SourceParts "$root/sourceparts";
Dir::Etc::Preferences "$root/preferences";
Dir::Etc::PreferencesParts "$root/preferences.d";
Dir::State::Lists "$root/lists";
Dir::State::status "/var/lib/dpkg/status";
Dir::Cache "$root/cache";
Dir::Cache::pkgcache "";
Dir::Cache::srcpkgcache "";
APT::Sandbox::User "root";
Acquire::Languages "none";
Acquire::IndexTargets::deb::Packages::DefaultEnabled "false";
Acquire::IndexTargets::deb::Translations::DefaultEnabled "false";
Acquire::IndexTargets::deb::Contents-deb::DefaultEnabled "false";
Acquire::IndexTargets::deb-src::Contents-dsc::DefaultEnabled "false";
Binary::apt-get::Acquire::AllowInsecureRepositories "false";
CONF
    : > "$root/preferences"
    mv -f "$root/apt.conf.new" "$root/apt.conf"
    echo "$root/apt.conf"
}

# Runs apt-get with the private configuration only (never the machine's).
_talvoran_apt_get() {
    local conf="$TALVORAN_CACHE/apt/apt.conf"
    APT_CONFIG="$conf" apt-get -o APT::Sandbox::User=root "$@"
}

# True if the private lists know source package $1 in version $2.
_talvoran_apt_has_source() {
    local conf="$TALVORAN_CACHE/apt/apt.conf"
    local out
    # Captured first: with pipefail, grep -q closing the pipe early would make
    # the pipeline fail even on a match.
    out=$(APT_CONFIG="$conf" apt-cache showsrc --only-source "$1" 2>/dev/null) || return 1
    printf '%s\n' "$out" | grep -Fx "Version: $2" >/dev/null
}

# fetch_debian_source PKG VERSION DESTDIR
# Fetches Debian source package PKG at exactly VERSION with `apt-get source`
# (Debian's patches applied by dpkg-source) and moves the unpacked tree to
# DESTDIR (which must not exist yet). Uses a private apt configuration under
# $TALVORAN_CACHE/apt, so the machine's apt setup is never changed.
fetch_debian_source() {
    local pkg=$1 version=$2 dest=$3
    local what="Debian source package $pkg $version"
    [ -n "$pkg" ] && [ -n "$version" ] && [ -n "$dest" ] \
        || die "fetch_debian_source: usage: fetch_debian_source PKG VERSION DESTDIR"
    [ -e "$dest" ] && die "fetch_debian_source: $dest already exists"
    command -v dpkg-source >/dev/null 2>&1 \
        || die "could not fetch $what (dpkg-source missing: install dpkg-dev)"
    [ -r /usr/share/keyrings/debian-archive-keyring.gpg ] \
        || die "could not fetch $what (debian-archive-keyring missing)"

    _talvoran_apt_setup >/dev/null || die "could not fetch $what (cannot set up private apt configuration under $TALVORAN_CACHE/apt)"
    if ! _talvoran_apt_has_source "$pkg" "$version"; then
        log "updating private apt source lists ($TALVORAN_APT_SUITES)"
        _talvoran_apt_get -q update >&2 \
            || die "could not fetch $what (apt-get update failed)"
        _talvoran_apt_has_source "$pkg" "$version" \
            || die "could not fetch $what (version not found in Debian's source lists for $TALVORAN_APT_SUITES)"
    fi

    local scratch
    scratch=$(mktemp -d "${TMPDIR:-/tmp}/talvoran-src.XXXXXX") \
        || die "could not fetch $what (mktemp failed)"
    if ! (cd "$scratch" && _talvoran_apt_get -q source --only-source "$pkg=$version") >"$scratch.log" 2>&1; then
        cat "$scratch.log" >&2
        rm -rf "$scratch" "$scratch.log"
        die "could not fetch $what (apt-get source failed)"
    fi
    # The unpacked tree is the only directory apt-get source leaves behind.
    local tree
    tree=$(find "$scratch" -mindepth 1 -maxdepth 1 -type d | head -n 2)
    if [ -z "$tree" ] || [ "$(printf '%s\n' "$tree" | wc -l)" -ne 1 ]; then
        cat "$scratch.log" >&2
        rm -rf "$scratch" "$scratch.log"
        die "could not fetch $what (no single unpacked source tree)"
    fi
    mkdir -p "$(dirname "$dest")"
    mv "$tree" "$dest" || { rm -rf "$scratch" "$scratch.log"; die "could not fetch $what (cannot move tree to $dest)"; }
    rm -rf "$scratch" "$scratch.log"
}

# apply_patch_series DIR SRCDIR
# Applies the patches named in DIR/series (one per line, '#' comments and
# blank lines ignored) to SRCDIR in order, failing loudly on any error.
apply_patch_series() {
    local dir=$1 src=$2 line name
    [ -f "$dir/series" ] || die "apply_patch_series: $dir/series not found"
    [ -d "$src" ] || die "apply_patch_series: $src is not a directory"
    while IFS= read -r line || [ -n "$line" ]; do
        name=${line%%#*}
        name=$(echo "$name" | tr -d '[:space:]')
        [ -z "$name" ] && continue
        [ -f "$dir/$name" ] || die "patch $dir/$name (listed in $dir/series) not found"
        if ! patch -d "$src" -p1 --forward --batch --no-backup-if-mismatch -s < "$dir/$name" >&2; then
            die "patch $name does not apply to $src"
        fi
    done < "$dir/series"
}

# cache_key FILE_OR_DIR... [-- STRING...]
# Prints a short (16 hex digit) sha256 over the contents of the given files
# (directories: all files below them, sorted) and the given strings.
cache_key() {
    local f files=() strings=()
    while [ $# -gt 0 ]; do
        if [ "$1" = "--" ]; then shift; strings=("$@"); break; fi
        files+=("$1"); shift
    done
    {
        for f in "${files[@]}"; do
            if [ -d "$f" ]; then
                # Documentation does not change a build: README edits must not rebuild.
                find "$f" -type f ! -name '*.md' -print0 | LC_ALL=C sort -z | while IFS= read -r -d '' g; do
                    printf 'file %s\n' "${g#"$f"/}"
                    sha256sum < "$g"
                done
            elif [ -f "$f" ]; then
                printf 'file %s\n' "$(basename "$f")"
                sha256sum < "$f"
            else
                die "cache_key: $f not found"
            fi
        done
        for f in "${strings[@]}"; do printf 'str %s\n' "$f"; done
    } | sha256sum | cut -c1-16
}

# --- helpers of the build recipes (they read TOOLCHAIN, JOBS) ---

# run_logged LOGFILE CMD...: runs CMD with output to LOGFILE; on failure shows
# the end of the log and stops.
run_logged() {
    local logf=$1; shift
    if ! "$@" >>"$logf" 2>&1; then
        tail -n 60 "$logf" >&2
        die "command failed: $* (full log: $logf)"
    fi
}

# cmake_configure SRC BUILD PREFIX [ARGS...]
cmake_configure() {
    local src=$1 bld=$2 prefix=$3; shift 3
    cmake -S "$src" -B "$bld" -G Ninja \
        -DCMAKE_TOOLCHAIN_FILE="$TOOLCHAIN" \
        -DCMAKE_BUILD_TYPE=Release \
        -DCMAKE_INSTALL_PREFIX="$prefix" \
        -DCMAKE_INSTALL_LIBDIR=lib \
        -DCMAKE_INSTALL_INCLUDEDIR=include \
        -DCMAKE_CXX_STANDARD=17 \
        -DBUILD_SHARED_LIBS=OFF \
        "$@"
}

# finish_prefix TMP FINAL: moves a completed install into its cache place.
finish_prefix() {
    local tmp=$1 final=$2
    rm -rf "$final"
    mv "$tmp" "$final"
}
