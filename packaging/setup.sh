# shellcheck shell=bash disable=SC2154
# Shared functions of the scripts: messages, missing packages, one build at a time. Source it in bash; `root` is the project's
# folder and `me` the name that precedes messages.

say() { printf '%s: %s\n' "$me" "$*" >&2; }

# Prints a line that the next one overwrites, on a terminal only; without a text, clears it.
progress() {
    [[ -t 2 ]] && printf '\r\033[K%s' "${1:+$me: $1}" >&2
    return 0
}

# Ends the script: prints the last lines of a log, if any, and the reason.
giveUp() {
    local why=$1 log=${2-}
    progress
    if [[ -s $log ]]; then
        tail -n 25 -- "$log" >&2
        why+="; the whole log is in $log"
    fi
    say "$why"
    exit 2
}

# Waits until no other script installs or builds here, and makes others wait until releaseBuild or the end of the script.
claimBuild() {
    { mkdir -p -- "$root/build" && exec {buildLock}>"$root/build/lock"; } 2>/dev/null || giveUp "cannot write to $root/build"
    flock -n "$buildLock" && return
    progress "waiting for another build to end"
    flock "$buildLock"
    progress
}
releaseBuild() { exec {buildLock}>&-; }

# Succeeds if a build folder was made for a project in another folder: the project was moved or copied.
wasMoved() {
    local line
    [[ -f $1/CMakeCache.txt ]] || return
    line=$(grep '^CMAKE_HOME_DIRECTORY:' "$1/CMakeCache.txt")
    [[ ! ${line#*=} -ef $root ]]
}

# Configures a preset, from scratch if the project was moved.
configure() {
    local preset=$1 scratch=()
    wasMoved "build/$preset" && scratch=(--fresh)
    # ccache stores its data in the user's home and fails without one.
    if [[ -w ${HOME-} ]] && command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
    cmake --preset "$preset" "${scratch[@]}" "${@:2}"
}

# Prints the packages for these uses, one per line.
packagesFor() {
    local use package
    while read -r use package; do
        [[ " $* " == *" $use "* ]] && printf '%s\n' "$package"
    done <"$root/packaging/dependencies"
}

# Sets `missing` to the packages for these uses that are not installed; to none without dpkg.
findMissing() {
    local package state wanted
    local -A installed=()
    missing=()
    command -v dpkg-query >/dev/null || return
    mapfile -t wanted < <(packagesFor "$@")
    while read -r package state; do
        [[ $state == installed ]] && installed[$package]=yes
    done < <(dpkg-query -W -f='${Package} ${db:Status-Status}\n' "${wanted[@]}" 2>/dev/null)
    for package in "${wanted[@]}"; do
        [[ ${installed[$package]-} ]] || missing+=("$package")
    done
}

# Installs the missing packages for these uses ("tool", "test"), or prints what to install and ends the script.
installMissing() {
    local missing=() asRoot=() log=$root/build/install.log
    findMissing "$@"
    ((${#missing[@]})) || return 0

    if ((EUID != 0)); then
        asRoot=(sudo)
        [[ -t 0 && -t 2 ]] || asRoot+=(-n)   # without a terminal, sudo must not ask for a password
    fi
    if command -v apt-get >/dev/null && { ((EUID == 0)) || command -v sudo >/dev/null; }; then
        say "installing ${missing[*]}"
        # Package lists that cannot be updated may still be good enough to install from.
        for words in update "install -y --no-install-recommends ${missing[*]}"; do
            # shellcheck disable=SC2086
            "${asRoot[@]}" env DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=300 $words
        done >"$log" 2>&1
        findMissing "$@"
        ((${#missing[@]})) || return 0
        tail -n 5 -- "$log" >&2
        say "could not install everything; the whole log is in $log"
    fi
    say "these Debian packages are missing:"
    printf '    %s\n' "${missing[@]}" >&2
    say "install them with: ${asRoot[0]+sudo }apt-get install --no-install-recommends ${missing[*]}"
    exit 2
}
