# Sourced by quickstart and run-tests: Debian packages on demand.

build_packages=(g++ cmake ninja-build pkg-config libssl-dev libbz2-dev libidn2-dev libhwy-dev libcli11-dev
    nlohmann-json3-dev)
test_packages=(clang libgtest-dev libgmock-dev python3 python3-pip mypy openssl dpkg-dev debhelper lintian
    debootstrap file postfix dovecot-core dovecot-pop3d doxygen)
fuzz_packages=(clang llvm libclang-rt-dev)
# For the build and the tests for another architecture, which run only where all of these are installed.
arm64_packages=(g++-aarch64-linux-gnu qemu-user-static googletest libssl-dev:arm64 libbz2-dev:arm64 libidn2-dev:arm64
    libhwy-dev:arm64)

# For tools/bench: the peers that it measures against, and what counts instructions and draws.
bench_packages=(libgmime-3.0-dev libmimetic-dev libicu-dev libcurl4-openssl-dev valgrind python3 python3-matplotlib)

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

# show_progress: of what the build says, its share done, in tenths where no terminal is; and all that isn't progress.
show_progress() {
    awk -v terminal="$([ -t 1 ] && echo 1)" '
        match($0, /^ *[0-9]+% /) {
            share = int($1)
            if (terminal) printf "\r  %3d%%", share
            else if (share >= next_share) { printf "  %d%%\n", share; next_share = share - share % 10 + 10 }
            fflush(); next
        }
        { print (terminal ? "\r" : "") $0 }
        END { if (terminal) print "" }'
}

# configure_and_build PRESET FOLDER TARGET... [-D...]: builds targets of a preset in FOLDER; with $progress set it
# shows how far it is.
configure_and_build() {
    local preset=$1 folder=$2 targets=() settings=() argument
    shift 2
    for argument in "$@"; do
        case $argument in
            -D*) settings+=("$argument") ;;
            *) targets+=("$argument") ;;
        esac
    done
    if command -v ccache >/dev/null; then
        settings+=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
        export CCACHE_SLOPPINESS=pch_defines,time_macros
    fi
    cmake --preset "$preset" -B "$folder" "${settings[@]}" >/dev/null
    if [ -n "${progress:-}" ]; then
        NINJA_STATUS='%p ' cmake --build "$folder" --target "${targets[@]}" | show_progress
    else
        cmake --build "$folder" --target "${targets[@]}" -- --quiet
    fi
}
