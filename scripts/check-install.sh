#!/usr/bin/env bash
# Installs the project into a temporary prefix and uses it the way a C++ user would:
#   - the installed files are where users look for them;
#   - every installed header compiles on its own against the installed include directory;
#   - examples/program builds with find_package(xmldsig) (shared and static targets), says valid
#     for examples/invoice-enveloped.xml and invalid for a tampered copy;
#   - the same program builds with pkg-config (shared, and static with the private requirements).
#
#   scripts/check-install.sh [--build-dir DIR]
# Without --build-dir the release flavour is built first (scripts/build.sh release). The tools
# can be chosen with CMAKE, CXX and PKG_CONFIG.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
cmake_cmd=${CMAKE:-cmake}
cxx=${CXX:-c++}
pkg_config=${PKG_CONFIG:-pkg-config}

build_dir=""
while [[ $# -gt 0 ]]; do
    case "$1" in
        --build-dir) build_dir=${2:?--build-dir needs a directory}; shift 2 ;;
        *) echo "check-install.sh: unknown argument '$1'" >&2; exit 2 ;;
    esac
done
[[ -n $build_dir ]] || build_dir=$("$root/scripts/build.sh" release | tail -n 1)
[[ -f $build_dir/CMakeCache.txt ]] || { echo "check-install.sh: $build_dir is not a build directory" >&2; exit 2; }

work=$(mktemp -d "${TMPDIR:-/tmp}/xmldsig-install.XXXXXX")
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
libdir=$(sed -n 's/^CMAKE_INSTALL_LIBDIR:[A-Z]*=//p' "$build_dir/CMakeCache.txt")
libdir=${libdir:-lib}
failures=0

step() { echo "== $*"; }
pass() { echo "ok: $*"; }
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }
# Runs a command quietly; on failure shows its output and records the failure.
quiet() {
    local what=$1; shift
    if "$@" >"$work/out.log" 2>&1; then pass "$what"; else fail "$what"; sed 's/^/    /' "$work/out.log"; return 1; fi
}

step "install into $prefix"
quiet "cmake --install" "$cmake_cmd" --install "$build_dir" --prefix "$prefix" || exit 1
for f in bin/xmldsig "$libdir/libxmldsig.a" "$libdir/libxmldsig.so" \
    include/xmldsig/dsig/ClsXmlDSig.h include/xmldsig/host/text/XString.h \
    include/xmldsig/host/xml/ClsBinData.h include/xmldsig/host/crypto/ClsPublicKey.h \
    "$libdir/cmake/xmldsig/xmldsigConfig.cmake" "$libdir/cmake/xmldsig/xmldsigConfigVersion.cmake" \
    "$libdir/cmake/xmldsig/xmldsigTargets.cmake" "$libdir/pkgconfig/xmldsig.pc"; do
    if [[ -e $prefix/$f ]]; then pass "installed $f"; else fail "missing $f"; fi
done
strays=$(cd "$prefix" && find . -type f \( -name '*.cpp' -o -path '*/cli/*' -o -path '*/tests/*' -o -name '*gtest*' \))
if [[ -z $strays ]]; then pass "no sources, tool internals or test files installed"; else fail "installed by mistake: $strays"; fi

step "installed tool"
good=$root/examples/invoice-enveloped.xml
quiet "xmldsig verify $(basename "$good")" "$prefix/bin/xmldsig" verify "$good"

step "each installed header compiles on its own"
headers=$(cd "$prefix/include/xmldsig" && find . -name '*.h' | sed 's|^\./||' | sort)
echo "$(echo "$headers" | wc -l) headers"
mkdir -p "$work/headers"
compile_header() {
    local tu=$work/headers/${1//\//_}.cpp
    # Twice, so that a header without an include guard fails too.
    printf '#include "%s"\n#include "%s"\n' "$1" "$1" >"$tu"
    "$cxx" -std=c++17 -fsyntax-only -I"$prefix/include/xmldsig" "$tu" >"$tu.log" 2>&1 || echo "$1"
}
export -f compile_header
export work cxx prefix
# shellcheck disable=SC2016 # $1 is expanded by the inner shell
bad_headers=$(echo "$headers" | xargs -P 2 -I{} bash -c 'compile_header "$1"' _ {})
if [[ -z $bad_headers ]]; then
    pass "all headers compile"
else
    for h in $bad_headers; do fail "header $h"; sed 's/^/    /' "$work/headers/${h//\//_}.cpp.log" | head -20; done
fi

generator=()
command -v ninja >/dev/null && generator=(-G Ninja)

step "examples/program with find_package(xmldsig)"
program=$work/program
if quiet "configure" "$cmake_cmd" -S "$root/examples/program" -B "$program" "${generator[@]}" \
        -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release; then
    found=$(sed -n 's/^xmldsig_DIR:[A-Z]*=//p' "$program/CMakeCache.txt")
    if [[ $found == "$prefix"/* ]]; then pass "package found in the prefix ($found)"; else fail "package found at '$found', not in $prefix"; fi
    quiet "build" "$cmake_cmd" --build "$program" -j 2 || true
fi

sed 's|<Total currency="EUR">20.00</Total>|<Total currency="EUR">21.00</Total>|' "$good" >"$work/tampered.xml"
if cmp -s "$good" "$work/tampered.xml"; then fail "the tampering did not change the document"; fi

# expect_run NAME PROGRAM FILE EXPECTED-STATUS(0 or nonzero) EXPECTED-TEXT...
# Every expected text must appear in the output.
expect_run() {
    local name=$1 exe=$2 file=$3 want=$4 status=0 text missing=""
    shift 4
    [[ -x $exe ]] || { fail "$name: $exe was not built"; return; }
    "$exe" "$file" >"$work/run.log" 2>&1 || status=$?
    for text in "$@"; do grep -q -- "$text" "$work/run.log" || missing+=" \"$text\""; done
    if [[ $want == 0 && $status -ne 0 ]] || [[ $want != 0 && $status -eq 0 ]] || [[ -n $missing ]]; then
        fail "$name: exit $status (expected $want)${missing:+, output lacks$missing}"
        sed 's/^/    /' "$work/run.log" | head -30
    else
        pass "$name: exit $status, $(head -n 1 "$work/run.log")"
    fi
}
for exe in verify_signatures verify_signatures_static; do
    expect_run "$exe valid" "$program/$exe" "$good" 0 "invoice-enveloped.xml#0: valid"
    expect_run "$exe tampered" "$program/$exe" "$work/tampered.xml" nonzero \
        "tampered.xml#0: invalid" "VerifySignature:"
done
if command -v ldd >/dev/null; then
    # Read ldd's whole output first: under pipefail, grep -q stopping early would
    # fail the pipeline with ldd's SIGPIPE.
    loaded=$(ldd "$program/verify_signatures")
    if grep -q "$prefix/$libdir/libxmldsig.so" <<<"$loaded"; then
        pass "verify_signatures loads the installed libxmldsig.so"
    else
        fail "verify_signatures does not load $prefix/$libdir/libxmldsig.so"; sed 's/^/    /' <<<"$loaded"
    fi
fi

step "examples/program with pkg-config"
export PKG_CONFIG_PATH=$prefix/$libdir/pkgconfig
if quiet "pkg-config --modversion xmldsig" "$pkg_config" --modversion xmldsig; then
    cflags=$("$pkg_config" --cflags xmldsig)
    libs=$("$pkg_config" --libs xmldsig)
    # A static libxmldsig with shared system libraries: the archive, what the private
    # requirements link (their own --static lists would ask for archives Debian does not ship),
    # and the file's own Libs.private.
    requires=$("$pkg_config" --print-requires-private xmldsig | awk '{print $1}' | tr '\n' ' ')
    libs_private=$(sed -n 's/^Libs\.private://p' "$PKG_CONFIG_PATH/xmldsig.pc")
    # shellcheck disable=SC2086
    static_libs="$prefix/$libdir/libxmldsig.a $("$pkg_config" --libs $requires) $libs_private"
    echo "cflags: $cflags"
    echo "libs: $libs"
    echo "requires.private: $requires"
    # shellcheck disable=SC2086 # the flags are meant to be split
    if quiet "compile" "$cxx" -std=c++17 -c "$root/examples/program/main.cpp" $cflags -o "$work/main.o"; then
        # shellcheck disable=SC2086
        quiet "link shared" "$cxx" "$work/main.o" $libs -Wl,-rpath,"$prefix/$libdir" -o "$work/pc_shared" || true
        # shellcheck disable=SC2086
        quiet "link static" "$cxx" "$work/main.o" $static_libs -o "$work/pc_static" || true
        expect_run "pkg-config shared valid" "$work/pc_shared" "$good" 0 "#0: valid"
        expect_run "pkg-config shared tampered" "$work/pc_shared" "$work/tampered.xml" nonzero \
            "#0: invalid" "VerifySignature:"
        expect_run "pkg-config static valid" "$work/pc_static" "$good" 0 "#0: valid"
    fi
fi

if [[ $failures -ne 0 ]]; then
    echo "== check-install: $failures failure(s)"
    exit 1
fi
echo "== check-install: all checks passed"
