#!/usr/bin/env bash
# Builds programs with the tree as a part of their project and a static library; then installs that library and links
# the same programs with what was installed, by CMake and by pkg-config.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

# quietly LOG COMMAND...: shows what the command said if it fails.
quietly() {
    local log=$1
    shift
    "$@" >"$log" 2>&1 || {
        tail -n 40 "$log"
        return 1
    }
}

quietly configure.log cmake -G Ninja -S "$here/subproject" -B host -DTESSOLT_TREE="$(cd "$here/../.." && pwd)" \
    -DBUILD_SHARED_LIBS=OFF -DTESSOLT_PRECOMPILE=ON -DCMAKE_INSTALL_PREFIX="$scratch/prefix"
quietly build.log cmake --build host
echo "as a subproject: $(host/consumer), $(host/consumer_in_c)"
if grep -q -e ' -Werror' host/build.ninja; then
    echo "warnings are errors in a part of another project"
    exit 1
fi

quietly install.log cmake --install host
find prefix -name 'libqueltx64.so*' | grep . && {
    echo "a shared library was built too"
    exit 1
}
quietly consumer.log cmake -G Ninja -S "$here" -B consumer -DCMAKE_PREFIX_PATH="$scratch/prefix"
quietly consumer.log cmake --build consumer --target consumer consumer_in_c
echo "static, by CMake: $(consumer/consumer), $(consumer/consumer_in_c)"

PKG_CONFIG_PATH=$(dirname "$(find prefix -name tessolt.pc)")
export PKG_CONFIG_PATH
# Flags are words of their own.
# shellcheck disable=SC2046
{
    c++ -std=c++17 $(pkg-config --cflags tessolt) "$here/consumer.cpp" -o by_pkg_config $(pkg-config --libs tessolt)
    cc -std=c11 $(pkg-config --cflags tessolt) "$here/consumer.c" -o in_c $(pkg-config --libs tessolt)
}
echo "static, by pkg-config: $(./by_pkg_config), $(./in_c)"
