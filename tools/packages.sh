# Sourced by quickstart and run-tests: Debian packages on demand.

build_packages=(g++ cmake ninja-build pkg-config libssl-dev libbz2-dev)
test_packages=(libgtest-dev libgmock-dev python3 openssl dpkg-dev file postfix dovecot-core dovecot-pop3d)

# need_packages NAME...: installs those that are missing, as root or by sudo.
need_packages() {
    local missing=() package
    for package in "$@"; do
        [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
            missing+=("$package")
    done
    [ ${#missing[@]} -eq 0 ] && return 0
    echo "Installing ${missing[*]}"
    local as_root=()
    [ "$(id -u)" -eq 0 ] || as_root=(sudo)
    quietly "${as_root[@]}" apt-get update -qq
    quietly "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y -qq --no-install-recommends "${missing[@]}"
}

# quietly COMMAND...: shows what the command says only if it fails.
quietly() {
    local said
    said=$("$@" 2>&1 </dev/null) || {
        echo "$said" >&2
        return 1
    }
}

# configure_and_build PRESET FOLDER TARGET [CMAKE ARGUMENT...]: builds one target of a preset in FOLDER.
configure_and_build() {
    local preset=$1 folder=$2 target=$3
    shift 3
    local launcher=()
    command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    cmake --preset "$preset" -B "$folder" "${launcher[@]}" "$@" >/dev/null
    cmake --build "$folder" --target "$target" -- --quiet
}
