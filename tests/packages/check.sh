#!/usr/bin/env bash
# Makes the Debian packages of the tree and tries them: linted, with consumers built against them by CMake, by
# pkg-config, in C and from Python; and, as root where debootstrap is at hand, installed, used and purged in a new
# Debian.
#
#   check.sh
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
top=$(cd "$here/../.." && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

# The packages are built where they leave nothing behind. What the compiler makes of the sources is tested elsewhere, so
# it needn't take the time to optimise, nor to make packages for debuggers.
export DEB_BUILD_OPTIONS="noopt noautodbgsym parallel=$(nproc)"
mkdir "$scratch/tree"
tar -C "$top" --exclude=./build --exclude=./.git -c . | tar -xC "$scratch/tree"
cd "$scratch/tree"
dpkg-buildpackage -b -us -uc -d >"$scratch/build.log" 2>&1 || {
    tail -n 40 "$scratch/build.log"
    exit 1
}
cd "$scratch"
rm -rf tree
for package in *.deb; do
    echo "package: $package"
    [[ $package == *-dbgsym_* ]] || dpkg-deb --extract "$package" system
done
if command -v lintian >/dev/null; then
    lintian --fail-on error,warning ./*.changes
    echo "lintian: no errors, no warnings"
fi

prefix=$scratch/system/usr
libdir=$(dirname "$(find "$prefix" -name libqueltx64.so)")
export LD_LIBRARY_PATH=$libdir

cmake -G Ninja -S "$here" -B consumer -DCMAKE_PREFIX_PATH="$prefix" >cmake.log
cmake --build consumer >>cmake.log
echo "by CMake: $(consumer/consumer)"
echo "in C: $(consumer/consumer_in_c)"
consumer/host_symbols

export PKG_CONFIG_PATH=$libdir/pkgconfig
# Flags are words of their own.
# shellcheck disable=SC2046
c++ -std=c++17 $(pkg-config --cflags tessolt) "$here/consumer.cpp" -o by_pkg_config $(pkg-config --libs tessolt)
echo "by pkg-config: $(./by_pkg_config)"

# The headers give no warnings, and live beside those of a database.
for compiler in g++ clang++; do
    for standard in c++17 c++20; do
        for first in -DNO_DATABASE -include\ sql.h; do
            if command -v "$compiler" >/dev/null && { [ "$first" = -DNO_DATABASE ] ||
                echo '#include <sql.h>' | c++ -fsyntax-only -x c++ - 2>/dev/null; }; then
                # shellcheck disable=SC2046,SC2086
                "$compiler" -std=$standard $first -Wall -Wextra -Wconversion -Wsign-conversion -Wold-style-cast \
                    -Wpedantic -Werror -fsyntax-only $(pkg-config --cflags tessolt) "$here/consumer.cpp"
            fi
        done
    done
done

use_from_python='
import tessolt
message = tessolt.Dispatch("Tessolt.EMailMessage")
message.Subject = "from Python"
print(message.Subject)
assert tessolt.Message.parse(tessolt.Message(subject=message.Subject).as_bytes()).subject == message.Subject
assert tessolt._library.PATH == tessolt._library.LOADER_NAME
'
PYTHONPATH=$prefix/lib/python3/dist-packages python3 -B -c "$use_from_python"
unset LD_LIBRARY_PATH PKG_CONFIG_PATH

if [ "$(id -u)" -ne 0 ] || ! command -v debootstrap >/dev/null; then
    echo "SKIPPED: no new Debian to install into without root and debootstrap"
    exit 0
fi
root=$scratch/root
debootstrap --variant=minbase --include=python3,libssl3,libbz2-1.0 "$(. /etc/os-release; echo "$VERSION_CODENAME")" \
    "$root" >debootstrap.log 2>&1 || {
    echo "SKIPPED: debootstrap can't reach its mirror"
    exit 0
}
inside() {
    env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8 chroot "$root" "$@"
}
before=$(inside dpkg-query -W -f '${Package}\n')
rm -f ./*-dbgsym_*.deb
cp ./*.deb "$root/tmp/"
inside sh -c 'apt-get install -y --no-install-recommends /tmp/*.deb' >install.log 2>&1 || {
    tail -n 20 install.log
    exit 1
}
lost=$(printf 'Gr\303\274\303\237e \320\257' | inside tessolt convert --from utf-8 --to latin1 2>&1 >/dev/null || true)
[ "$lost" = "tessolt: 1 character is lost" ] && inside tessolt settings | grep -x "Rules = current" >/dev/null
echo "installed: $(inside python3 -B -c "$use_from_python")"
after=$(inside dpkg-query -W -f '${Package}\n' | sort)
mapfile -t ours < <(comm -13 <(sort <<<"$before") <(echo "$after") | grep tessolt\\\|queltx)
inside apt-get purge -y "${ours[@]}" >purge.log 2>&1
left=$(inside find / -xdev \( -name '*tessolt*' -o -name '*queltx*' \) -not -path '/tmp/*' -not -path '/var/log/*' \
    -not -path '/proc/*')
[ -z "$left" ] || {
    echo "left behind: $left"
    exit 1
}
echo "purged: nothing left"
