#!/bin/bash
# Installs the packages that the tool needs and builds it; prints nothing on success. ./tramo calls it when needed.

me=tramo
root=$(CDPATH='' cd -P -- "${BASH_SOURCE[0]%/*}/.." && pwd)
source "$root/packaging/setup.sh"
cd -- "$root" || exit 2
trap 'progress; exit 130' INT

build=build/release
log=$root/$build/tramo-build.log

claimBuild
installMissing tool
{ mkdir -p "$build" && printf '%s\n' "$root" >"$build/tramo.building" && : >"$log"; } 2>/dev/null ||
    giveUp "cannot write to $root/$build"

# The tests need packages of their own, so ./tramo configures a build folder without tests; ./test adds them.
if [[ ! -f $build/build.ninja ]] || wasMoved "$build"; then
    progress "preparing the build"
    configure release -DTRAMOSTREAM_TESTS=OFF >>"$log" 2>&1 || giveUp "the build could not be prepared" "$log"
fi

NINJA_STATUS='[%f/%t] ' cmake --build "$build" --target tramo 2>&1 | while IFS= read -r line; do
    printf '%s\n' "$line" >>"$log"
    [[ $line =~ ^\[([0-9]+/[0-9]+)\] ]] && progress "building, step ${BASH_REMATCH[1]}"
done
((PIPESTATUS[0] == 0)) || giveUp "the build failed" "$log"

mv -- "$build/tramo.building" "$build/tramo.built" || giveUp "cannot write to $root/$build"
progress
