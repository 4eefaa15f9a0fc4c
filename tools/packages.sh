# Sourced by quickstart and run-tests: Debian packages on demand.

build_packages=(g++ cmake ninja-build pkg-config libssl-dev libbz2-dev libidn2-dev libhwy-dev libcli11-dev)
test_packages=(libgtest-dev libgmock-dev python3 openssl dpkg-dev debhelper lintian debootstrap file postfix
    dovecot-core dovecot-pop3d)
fuzz_packages=(clang llvm libclang-rt-dev)
# For the build and the tests for another architecture, which run only where all of these are installed.
arm64_packages=(g++-aarch64-linux-gnu qemu-user-static googletest libssl-dev:arm64 libbz2-dev:arm64 libidn2-dev:arm64
    libhwy-dev:arm64)

# missing_packages NAME...: prints those that aren't installed.
missing_packages() {
    local package wanted
    for package in "$@"; do
        # A package may be there for several architectures.
        wanted=$(dpkg --print-architecture)
        [[ $package == *:* ]] && wanted=${package##*:}
        dpkg-query -W -f '${db:Status-Status} ${Architecture}\n' "$package" 2>/dev/null |
            grep -Eqx "installed ($wanted|all)" || echo "$package"
    done
}

# need_packages NAME...: installs those that are missing, as root or by sudo.
need_packages() {
    local missing
    mapfile -t missing < <(missing_packages "$@")
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

# configure_and_build PRESET FOLDER TARGET... [-D...]: builds targets of a preset in FOLDER.
configure_and_build() {
    local preset=$1 folder=$2 targets=() settings=() argument
    shift 2
    for argument in "$@"; do
        case $argument in
            -D*) settings+=("$argument") ;;
            *) targets+=("$argument") ;;
        esac
    done
    command -v ccache >/dev/null && settings+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
    cmake --preset "$preset" -B "$folder" "${settings[@]}" >/dev/null
    cmake --build "$folder" --target "${targets[@]}" -- --quiet
}
