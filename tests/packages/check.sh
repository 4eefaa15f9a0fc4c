#!/bin/sh
# Installs the packages of a build tree into a scratch root, then builds and runs consumers against
# the installed files: by CMake, by pkg-config, and from Python.
#
#   check.sh BUILD_FOLDER
set -eu

build=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

(cd "$build" && cpack -G DEB -B "$scratch/packages" >"$scratch/cpack.log")
for package in "$scratch"/packages/*.deb; do
    echo "package: $(basename "$package")"
    dpkg-deb --extract "$package" "$scratch/system"
done

prefix=$scratch/system/usr
libdir=$(dirname "$(find "$prefix" -name libqueltx64.so)")
export LD_LIBRARY_PATH="$libdir"

cmake -G Ninja -S "$here" -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$prefix" >"$scratch/cmake.log"
cmake --build "$scratch/consumer" >>"$scratch/cmake.log"
echo "by CMake: $("$scratch/consumer/consumer")"
echo "in C: $("$scratch/consumer/consumer_in_c")"

export PKG_CONFIG_PATH="$libdir/pkgconfig"
# Flags are words of their own.
# shellcheck disable=SC2046
c++ -std=c++20 $(pkg-config --cflags tessolt) "$here/consumer.cpp" -o "$scratch/by_pkg_config" \
    $(pkg-config --libs tessolt)
echo "by pkg-config: $("$scratch/by_pkg_config")"

PYTHONPATH=$prefix/lib/python3/dist-packages python3 -B -c '
import tessolt
message = tessolt.Dispatch("Tessolt.EMailMessage")
message.Subject = "from Python"
print(message.Subject)
assert tessolt._library.PATH == tessolt._library.LOADER_NAME
'
