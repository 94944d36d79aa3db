# shellcheck shell=bash
# Shared by the scripts of this folder: the packages they need and how they get them.
# The lists are used by the scripts that source this file.
# shellcheck disable=SC2034

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# How many processes at once; JOBS says otherwise.
jobs=${JOBS:-$(nproc)}

# What is needed: Debian package, a probe that succeeds where it is there, what it is for.
docs_needs=(
    "python3|/usr/bin/python3 --version|Debian's own Python 3, for the documents"
    "python3-markdown-it|/usr/bin/python3 -c 'import markdown_it'|markdown-it-py, which reads the documents"
    "mandoc|command -v mandoc|mandoc, for manual pages as HTML"
)
browser_needs=(
    "chromium|chromium --version|Chromium, which looks at the documents"
)
build_needs=(
    "g++|c++ --version|a C++20 compiler (g++ 12 or clang 14)"
    "cmake|cmake --version|CMake 3.25 or later"
    "ninja-build|ninja --version|the Ninja build tool"
    "pkg-config|pkg-config --version|pkg-config"
    "binutils|objdump --version|objdump"
    "libldap-dev|pkg-config --exists ldap lber|OpenLDAP's client libraries, 2.5 or later, with headers"
    "libcli11-dev|test -e /usr/include/CLI/CLI.hpp|CLI11, the command-line parser"
    "nlohmann-json3-dev|test -e /usr/include/nlohmann/json.hpp|nlohmann-json"
    "libfmt-dev|test -e /usr/include/fmt/core.h|fmt"
    "libssl-dev|pkg-config --atleast-version=3 libssl libcrypto|OpenSSL 3, with headers"
    "zlib1g-dev|test -e /usr/include/zlib.h|zlib, for compressed LDIF"
    "libasio-dev|test -e /usr/include/asio.hpp|asio, without Boost"
    "${docs_needs[@]}"
)
demo_needs=(
    "ldap-utils|ldapsearch -VV|OpenLDAP's client tools"
    "graphviz|dot -V|Graphviz's dot, which draws the schema"
)
test_needs=(
    "libgtest-dev|test -e /usr/include/gtest/gtest.h|GoogleTest"
    "libgmock-dev|test -e /usr/include/gmock/gmock.h|GoogleMock"
    "slapd|test -x /usr/sbin/slapd|OpenLDAP's server, a peer of the tests"
    "openssl|openssl version|OpenSSL's command, for certificates, PKCS #12 and a TLS server"
    "libsasl2-modules|ls /usr/lib/*/sasl2/libdigestmd5.so|cyrus-sasl's mechanisms, for binds by DIGEST-MD5"
    "389-ds-base|test -x /usr/sbin/ns-slapd|389-ds, a peer of the tests"
    "ldap-utils|ldapsearch -VV|OpenLDAP's client tools"
    "clang|clang++ --version|clang 14, the second compiler of the headers"
    "shellcheck|shellcheck --version|the shell linter"
    "clang-format|clang-format --version|clang-format 14"
    "make|make --version|make, for OpenLDAP's sources"
    "xz-utils|xz --version|xz, for OpenLDAP's sources"
    "graphviz|dot -V|Graphviz's dot, which draws the schema"
    "libsasl2-dev|test -e /usr/include/sasl/sasl.h|cyrus-sasl's header, for its own binds"
    "libmd-dev|pkg-config --exists libmd|libmd, another library with the names of MD5"
    "python3|python3 --version|Python 3, for the soak"
    "man-db|man --version|man, which reads the manual pages"
    "bash-completion|test -e /usr/share/bash-completion/bash_completion|bash-completion"
    "abigail-tools|abidiff --version|libabigail's abidw and abidiff"
    "build-essential|dpkg -s build-essential|what every build of a Debian package takes for granted"
    "dpkg-dev|dpkg-buildpackage --version|dpkg's tools that build packages"
    "debhelper|command -v dh|debhelper, which packs what is installed"
    "chrpath|chrpath --version|chrpath, which takes search paths out of programs"
)
abi_needs=(
    "abigail-tools|abidiff --version|libabigail's abidw and abidiff"
)
lint_needs=(
    "clang-tidy|clang-tidy --version|clang-tidy 14"
    "cppcheck|cppcheck --version|cppcheck"
)
coverage_needs=(
    "python3|python3 --version|Python 3, for the tables"
    "gcc|gcov --version|gcov, which reads gcc's counters"
)
fuzz_needs=(
    "clang|clang++ --version|clang 14, for its libFuzzer"
    "libclang-rt-14-dev|ls /usr/lib/llvm-14/lib/clang/*/lib/linux/libclang_rt.fuzzer-*.a|libFuzzer and the sanitizers of clang 14"
)
package_needs=(
    "build-essential|dpkg -s build-essential|what every build of a Debian package takes for granted"
    "dpkg-dev|dpkg-buildpackage --version|dpkg's tools that build packages"
    "debhelper|command -v dh|debhelper, which packs what is installed"
    "chrpath|chrpath --version|chrpath, which takes search paths out of programs"
    "lintian|lintian --version|lintian, which looks at packages"
)
bench_needs=(
    "valgrind|valgrind --version|valgrind, for instruction counts"
    "libsasl2-dev|test -e /usr/include/sasl/sasl.h|cyrus-sasl's header, for its own binds"
    "libsasl2-modules|ls /usr/lib/*/sasl2/libdigestmd5.so|cyrus-sasl's mechanisms, for binds by DIGEST-MD5"
    "slapd|test -x /usr/sbin/slapd|OpenLDAP's server, a peer of the benchmarks"
    "ldap-utils|ldapsearch -VV|OpenLDAP's client tools"
    "python3|python3 --version|Python 3, for the tables"
    "make|make --version|make, for OpenLDAP's sources"
    "xz-utils|xz --version|xz, for OpenLDAP's sources"
    "python3-matplotlib|/usr/bin/python3 -c 'import matplotlib'|matplotlib, which draws the plots"
)

say() { printf '\n== %s\n' "$*"; }

die() {
    printf '%s\n' "$*" >&2
    exit 1
}

missing_needs() {
    local need probe
    for need in "$@"; do
        probe=${need#*|}
        bash -c "${probe%%|*}" >/dev/null 2>&1 || printf '%s\n' "$need"
    done
}

# Installing a server package must not start the server.
install_packages() {
    local -a as_root=()
    if [ "$(id -u)" -ne 0 ]; then
        command -v sudo >/dev/null || die "Installing needs root: run as root or install sudo."
        as_root=(sudo)
    fi
    local policy=/usr/sbin/policy-rc.d own_policy=
    if [ ! -e "$policy" ]; then
        printf '#!/bin/sh\nexit 101\n' | "${as_root[@]}" tee "$policy" >/dev/null
        "${as_root[@]}" chmod 755 "$policy"
        own_policy=yes
    fi
    local outcome=0
    "${as_root[@]}" apt-get update -qq &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y -qq --no-install-recommends "$@" >/dev/null || outcome=$?
    [ -z "$own_policy" ] || "${as_root[@]}" rm -f "$policy"
    [ "$outcome" -eq 0 ] || die "apt-get could not install: $*"
}

# need ROW...: installs what is missing on Debian; elsewhere says what is missing and stops.
need() {
    local -a rows=()
    mapfile -t rows < <(missing_needs "$@")
    [ "${#rows[@]}" -gt 0 ] || return 0
    if ! command -v apt-get >/dev/null || ! command -v dpkg >/dev/null; then
        printf 'This is not a Debian system, and these are missing:\n' >&2
        printf '%s\n' "${rows[@]}" | awk -F'|' '{ print "  - " $3 " (Debian package " $1 ")" }' >&2
        die "Install them and run this again."
    fi
    say "Installing: ${rows[*]%%|*}"
    install_packages "${rows[@]%%|*}"
    mapfile -t rows < <(missing_needs "$@")
    [ "${#rows[@]}" -eq 0 ] || die "Still missing after the installation: ${rows[*]%%|*}"
}

# build PRESET [OPTION...]: configures and builds into build/PRESET.
build() {
    local preset=$1
    shift
    (cd "$root" && cmake --preset "$preset" "$@" && cmake --build "build/$preset" -j "$jobs") \
        >"$root/build/$preset.log" 2>&1 || {
        tail -n 60 "$root/build/$preset.log" >&2
        die "The build failed; all of its output is in build/$preset.log."
    }
}

# run_tests PRESET: adds to `passed` and `failed` what ctest reports. Many tests wait rather than
# work, so that more of them run at once than there are processors.
passed=0 failed=0
run_tests() {
    local log="$root/build/$1-tests.log" junit="$root/build/$1-tests.xml"
    (cd "$root/build/$1" && ctest -j $((jobs * 2)) --timeout 300 --output-on-failure \
        --output-junit "$junit") >"$log" 2>&1 || grep -vE ' Passed |^ +Start ' "$log" || true
    local all bad
    all=$(grep -c '<testcase ' "$junit")
    bad=$(grep -cE '<testcase .*status="(fail|disabled|notrun)"' "$junit" || true)
    passed=$((passed + all - bad)) failed=$((failed + bad))
}
