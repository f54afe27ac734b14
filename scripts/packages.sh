# Sourced by ./run, ./check and .ci/run: installs the Debian packages that are missing.

# need_packages LIST GROUP...: all packages of the groups in the file LIST, or a clear refusal.
need_packages() {
    local list=$1 missing
    shift
    mapfile -t missing < <(missing_packages "$list" "$@")
    ((${#missing[@]})) || return 0
    if ! command -v apt-get >/dev/null; then
        echo "$0: this needs Debian 12 with apt-get; install these by hand: ${missing[*]}" >&2
        return 1
    fi
    local as_root=()
    if ((EUID != 0)); then
        if ! command -v sudo >/dev/null || ! sudo -v; then
            echo "$0: packages are missing, and this is neither root nor allowed to use sudo." >&2
            echo "$0: as root, run: apt-get install --no-install-recommends ${missing[*]}" >&2
            return 1
        fi
        as_root=(sudo)
    fi
    echo "$0: installing ${missing[*]}" >&2
    "${as_root[@]}" apt-get -q update >&2 || return
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get -q -y --no-install-recommends install "${missing[@]}" </dev/null >&2
}

missing_packages() {
    local list=$1 group name
    shift
    while read -r group name; do
        [[ " $* " == *" $group "* ]] || continue
        [[ $(dpkg-query -W -f '${db:Status-Status}' "$name" 2>/dev/null) == installed ]] ||
            printf '%s\n' "$name"
    done <"$list"
}
