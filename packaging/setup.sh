# shellcheck shell=bash disable=SC2154
# What the scripts share: messages, the packages that are missing, one build at a time. For bash to source; `root` is
# the project's folder and `me` the name that stands before messages.

say() { printf '%s: %s\n' "$me" "$*" >&2; }

# One line that the next one overwrites, on a terminal only; without a text it is cleared.
progress() {
    [[ -t 2 ]] && printf '\r\033[K%s' "${1:+$me: $1}" >&2
    return 0
}

# Ends the script: the last lines of a log, if there is one to show, and why.
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

# Waits until nobody else installs or builds here, and keeps others waiting until releaseBuild or the script's end.
claimBuild() {
    { mkdir -p -- "$root/build" && exec {buildLock}>"$root/build/lock"; } 2>/dev/null || giveUp "cannot write to $root/build"
    flock -n "$buildLock" && return
    progress "waiting for another build to end"
    flock "$buildLock"
    progress
}
releaseBuild() { exec {buildLock}>&-; }

# Whether a build folder was made for a project in another folder: the project was moved or copied.
wasMoved() {
    local line
    [[ -f $1/CMakeCache.txt ]] || return
    line=$(grep '^CMAKE_HOME_DIRECTORY:' "$1/CMakeCache.txt")
    [[ ! ${line#*=} -ef $root ]]
}

# Configures a preset, anew if the project was moved.
configure() {
    local preset=$1 anew=()
    wasMoved "build/$preset" && anew=(--fresh)
    # ccache keeps what it knows below the user's home, and fails where there is none.
    if [[ -w ${HOME-} ]] && command -v ccache >/dev/null; then export CMAKE_CXX_COMPILER_LAUNCHER=ccache; fi
    cmake --preset "$preset" "${anew[@]}" "${@:2}"
}

# Prints the packages for these uses, one a line.
packagesFor() {
    local use package
    while read -r use package; do
        [[ " $* " == *" $use "* ]] && printf '%s\n' "$package"
    done <"$root/packaging/dependencies"
}

# Sets `missing` to the packages for these uses that are not installed; to none where there is no dpkg to ask.
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

# Installs what is missing for these uses ("tool", "test"), or says what to install and ends the script.
installMissing() {
    local missing=() asRoot=() log=$root/build/install.log
    findMissing "$@"
    ((${#missing[@]})) || return 0

    if ((EUID != 0)); then
        asRoot=(sudo)
        [[ -t 0 && -t 2 ]] || asRoot+=(-n)   # nobody there to type a password
    fi
    if command -v apt-get >/dev/null && { ((EUID == 0)) || command -v sudo >/dev/null; }; then
        say "installing ${missing[*]}"
        # Package lists that cannot be renewed may still be good enough to install from.
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
