# Sourced by ./run and ./check: configures and builds a CMake preset, quietly unless it fails.

# build_preset ROOT PRESET [TARGET...]
build_preset() {
    local root=$1 preset=$2 folder=$1/build/$2 log
    shift 2
    log=$folder/build.log
    mkdir -p "$folder"
    if [[ ! -e $folder/build.ninja ]]; then
        echo "configuring $preset" >&2
        (cd "$root" && cmake --preset "$preset") >"$log" 2>&1 || fail_with "$log" || return
    fi
    local targets=()
    (($# == 0)) || targets=(--target "$@")
    if ninja -C "$folder" -n "$@" | grep -q 'no work to do'; then return 0; fi
    echo "building $preset; the first time takes some minutes" >&2
    cmake --build "$folder" "${targets[@]}" >"$log" 2>&1 || fail_with "$log"
}

fail_with() {
    tail -n 60 "$1" >&2
    echo "the build failed; its whole output is in $1" >&2
    return 1
}
