#!/bin/bash -eu
# Builds the fuzz targets as OSS-Fuzz requires: with the compiler and engine of its environment, into $OUT, with a seed corpus
# and a dictionary for each.
root=$(CDPATH='' cd -P -- "${BASH_SOURCE[0]%/*}/.." && pwd)
build=${WORK:-$root/build}/oss-fuzz

# shellcheck disable=SC2016
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_C_COMPILER="$CC" -DCMAKE_CXX_COMPILER="$CXX" \
    -DCMAKE_CXX_FLAGS="$CXXFLAGS -fsanitize-ignorelist=$root/fuzz/ignored.txt" -DCMAKE_BUILD_RPATH='$ORIGIN/lib' \
    -DTRAMOSTREAM_TESTS=OFF -DTRAMOSTREAM_FUZZ=ON -DTRAMOSTREAM_FUZZ_ENGINE="$LIB_FUZZING_ENGINE"
cmake --build "$build" -j "$(nproc)"
LD_LIBRARY_PATH=$build python3 "$root/fuzz/seeds.py" "$root/samples" "$build/cli/tramo" "$build/seeds"

mkdir -p "$OUT/lib"
for source in "$root"/fuzz/*_fuzz.cpp; do
    target=$(basename "$source" _fuzz.cpp)
    cp "$build/fuzz/fuzz_$target" "$OUT/"
    cp "$root/fuzz/tramo.dict" "$OUT/fuzz_$target.dict"
    python3 -m zipfile -c "$OUT/fuzz_${target}_seed_corpus.zip" "$root/fuzz/corpus/$target"/* "$build/seeds/$target"/*
    # The libraries that the fuzzing machine does not have.
    ldd "$build/fuzz/fuzz_$target" | awk '/libfmt|libsqlite3|libz\.so/ { print $3 }' | xargs -r cp -t "$OUT/lib"
done
