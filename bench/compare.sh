#!/usr/bin/env bash
# Side-by-side timing of `xmldsig verify` and `xmlsec1 --verify` on enveloped signatures of about
# 3 KB, 1 MB and 5 MB, signed by xmlsec1 with a fresh RSA key. Both tools must report the
# references valid on every run; the table goes to bench/RESULTS.md.
#
# usage: bench/compare.sh [RUNS]
#   XMLDSIG  path of the xmldsig tool (default build/release/xmldsig, then build-bench/xmldsig)
#   OUT      where to write the results (default bench/RESULTS.md)
#   KEEP     a directory to copy the signed documents and the certificate into (for profiling)
#   INPROC   the in-process benchmark xmldsig_bench_verify (default: next to the tool in
#            bench/, when built); its verifications per second are added to the results
set -uo pipefail

here=$(cd "$(dirname "$0")" && pwd)
root=$(dirname "$here")
runs=${1:-${RUNS:-10}}
out=${OUT:-$here/RESULTS.md}
sizes=(3072 1048576 5242880)
labels=("3 KB" "1 MB" "5 MB")

die() { echo "compare.sh: $*" >&2; exit 1; }

find_tool() {
    if [ -n "${XMLDSIG:-}" ]; then echo "$XMLDSIG"; return; fi
    for candidate in "$root/build/release/xmldsig" "$root/build-bench/xmldsig"; do
        if [ -x "$candidate" ]; then echo "$candidate"; return; fi
    done
    echo "$root/build/release/xmldsig"
}

tool=$(find_tool)
[ -x "$tool" ] || die "no xmldsig tool at $tool (build it, or set XMLDSIG)"
command -v xmlsec1 >/dev/null || die "xmlsec1 is not installed"
command -v openssl >/dev/null || die "openssl is not installed"
[ -x /usr/bin/time ] || die "/usr/bin/time is not installed (Debian package: time)"
[[ "$runs" =~ ^[1-9][0-9]*$ ]] || die "RUNS must be a positive number, not '$runs'"

work=$(mktemp -d /tmp/xmldsig_compare_XXXXXX) || die "mktemp failed"
trap 'rm -rf "$work"' EXIT

# An invoice with as many line items as it takes to reach about $1 bytes, then an enveloped
# signature template (exclusive c14n, SHA-256, RSA-SHA256) for xmlsec1 to fill in.
make_template() {
    awk -v target="$1" 'BEGIN {
        head = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" \
            "<Invoice xmlns=\"urn:example:invoice\" xmlns:cac=\"urn:example:aggregate\" " \
            "xmlns:cbc=\"urn:example:basic\">\n" \
            "  <cbc:ID>INV-2026-0001</cbc:ID>\n  <cbc:IssueDate>2026-11-21</cbc:IssueDate>\n" \
            "  <cac:Seller country=\"SE\" name=\"Example &amp; Sons\"/>\n"
        sig = "  <ds:Signature xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\">\n" \
            "    <ds:SignedInfo>\n" \
            "      <ds:CanonicalizationMethod Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/>\n" \
            "      <ds:SignatureMethod Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256\"/>\n" \
            "      <ds:Reference URI=\"\">\n        <ds:Transforms>\n" \
            "          <ds:Transform Algorithm=\"http://www.w3.org/2000/09/xmldsig#enveloped-signature\"/>\n" \
            "          <ds:Transform Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/>\n" \
            "        </ds:Transforms>\n" \
            "        <ds:DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\"/>\n" \
            "        <ds:DigestValue/>\n      </ds:Reference>\n    </ds:SignedInfo>\n" \
            "    <ds:SignatureValue/>\n  </ds:Signature>\n</Invoice>\n"
        printf "%s", head
        total = length(head) + length(sig) + 700   # 700: the signature value xmlsec1 adds
        for (n = 1; total < target; n++) {
            line = sprintf("  <cac:InvoiceLine id=\"L%d\" status=\"open\">\n" \
                "    <cbc:ID>%d</cbc:ID>\n" \
                "    <cbc:InvoicedQuantity unitCode=\"EA\">%d</cbc:InvoicedQuantity>\n" \
                "    <cbc:LineExtensionAmount currencyID=\"EUR\">%d0.00</cbc:LineExtensionAmount>\n" \
                "    <cac:Item><cbc:Name>Widget &amp; bolt %d</cbc:Name></cac:Item>\n" \
                "    <cac:Price><cbc:PriceAmount currencyID=\"EUR\">10.00</cbc:PriceAmount></cac:Price>\n" \
                "  </cac:InvoiceLine>\n", n, n, 1 + n % 9, 1 + n % 9, n)
            printf "%s", line
            total += length(line)
        }
        printf "%s", sig
    }'
}

# Runs a command once; sets run_ms (wall clock), run_kib (peak RSS) and run_rc.
run_once() {
    local t0 t1
    t0=$(date +%s%N)
    /usr/bin/time -f "%M" -o "$work/rss" "$@" >"$work/stdout" 2>"$work/stderr"
    run_rc=$?
    t1=$(date +%s%N)
    run_ms=$(( (t1 - t0) / 1000 ))  # microseconds, printed as ms later
    run_kib=$(tail -n 1 "$work/rss")
}

median() { sort -n | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : int((v[NR / 2] + v[NR / 2 + 1]) / 2) }'; }
maximum() { sort -n | tail -n 1; }
ms() { awk -v us="$1" 'BEGIN { printf "%.1f", us / 1000 }'; }

failures=0
report_failure() {
    failures=$((failures + 1))
    {
        echo "!!! $1 (exit status $run_rc) on $2"
        sed 's/^/!!!   /' "$work/stdout" "$work/stderr" | head -n 20
    } >&2
}

# Both tools on one signed document: checks every run's verdict and appends a table row to
# $work/rows (not printed: a command substitution would lose the failure count).
compare_one() {
    local label=$1 file=$2 items
    items=$(grep -c "<cac:InvoiceLine " "$file")
    : >"$work/ours_ms"; : >"$work/ours_kib"; : >"$work/theirs_ms"; : >"$work/theirs_kib"
    for ((i = 0; i < runs; i++)); do
        run_once "$tool" verify --no-progress --key "$work/cert.pem" "$file"
        if [ "$run_rc" -ne 0 ] || ! grep -q "#0: valid" "$work/stdout"; then
            report_failure "xmldsig verify did not report the signature valid" "$label"
        fi
        echo "$run_ms" >>"$work/ours_ms"; echo "$run_kib" >>"$work/ours_kib"
        run_once xmlsec1 --verify --pubkey-cert-pem "$work/cert.pem" "$file"
        if [ "$run_rc" -ne 0 ] || ! grep -q "^OK" "$work/stderr"; then
            report_failure "xmlsec1 --verify did not report the signature valid" "$label"
        fi
        echo "$run_ms" >>"$work/theirs_ms"; echo "$run_kib" >>"$work/theirs_kib"
    done
    local ours theirs
    ours=$(median <"$work/ours_ms"); theirs=$(median <"$work/theirs_ms")
    printf "| %s | %s | %s | %s | %s | %s | %s | %s |\n" "$label" "$(stat -c %s "$file")" "$items" \
        "$(ms "$ours")" "$(ms "$theirs")" "$(awk -v a="$ours" -v b="$theirs" 'BEGIN { printf "%.2f", a / b }')" \
        "$(maximum <"$work/ours_kib")" "$(maximum <"$work/theirs_kib")" >>"$work/rows"
}

openssl req -x509 -newkey rsa:2048 -nodes -keyout "$work/key.pem" -out "$work/cert.pem" \
    -subj "/CN=xmldsig bench" -days 30 2>"$work/openssl.log" || die "openssl key generation failed"

: >"$work/rows"
load=$(cut -d' ' -f1-3 /proc/loadavg)
for idx in "${!sizes[@]}"; do
    make_template "${sizes[$idx]}" >"$work/template$idx.xml"
    xmlsec1 --sign --privkey-pem "$work/key.pem,$work/cert.pem" --output "$work/signed$idx.xml" \
        "$work/template$idx.xml" 2>"$work/sign.log" || { cat "$work/sign.log" >&2; die "xmlsec1 --sign failed"; }
    echo "timing ${labels[$idx]} ($runs runs each)..." >&2
    compare_one "${labels[$idx]}" "$work/signed$idx.xml"
done
if [ -n "${KEEP:-}" ]; then
    mkdir -p "$KEEP" || die "cannot create $KEEP"
    cp "$work"/signed*.xml "$work/cert.pem" "$KEEP"/ || die "cannot copy into $KEEP"
fi

inproc=${INPROC:-$(dirname "$tool")/bench/xmldsig_bench_verify}
inproc_rows=""
if [ -x "$inproc" ]; then
    echo "in-process benchmark..." >&2
    inproc_json="$work/inproc.json"
    if "$inproc" --benchmark_format=json --benchmark_repetitions=3 \
        --benchmark_report_aggregates_only=true >"$inproc_json" 2>"$work/inproc.log"; then
        inproc_rows=$(python3 - "$inproc_json" <<'PY'
import json, sys
rows = {}
for b in json.load(open(sys.argv[1]))["benchmarks"]:
    if b.get("aggregate_name") != "median":
        continue
    name, size = b["run_name"].split("/")[:2]
    rows.setdefault(int(size), {})[name] = b["items_per_second"]
labels = {3072: "3 KB", 1 << 20: "1 MB", 5 << 20: "5 MB"}
for size in sorted(rows):
    ours = rows[size].get("BM_VerifyXmldsig", 0)
    theirs = rows[size].get("BM_VerifyXmlsec1", 0)
    ratio = ours / theirs if theirs else 0
    print("| %s | %.1f | %.1f | %.2f |" % (labels.get(size, str(size)), ours, theirs, ratio))
PY
)
    else
        failures=$((failures + 1))
        echo "!!! the in-process benchmark failed:" >&2
        sed 's/^/!!!   /' "$work/inproc.log" | head -n 20 >&2
    fi
fi

dirty=""
if [ -n "$(git -C "$root" status --porcelain -- host dsig cli 2>/dev/null)" ]; then
    dirty=" with uncommitted changes in host/, dsig/ or cli/ (a shared working tree)"
fi
build_type=$(grep -s "^CMAKE_BUILD_TYPE:" "$(dirname "$tool")/CMakeCache.txt" | cut -d= -f2)
{
    echo "# xmldsig verify and xmlsec1 --verify, side by side"
    echo
    echo "Produced by \`bench/compare.sh $runs\` on $(date -u '+%Y-%m-%d %H:%M UTC')."
    echo
    echo "- machine: $(uname -m), $(grep -m1 '^model name' /proc/cpuinfo | cut -d: -f2- | sed 's/^ *//'), $(nproc) cores"
    echo "- load average when the timing started: $load"
    echo "- xmldsig: commit $(git -C "$root" rev-parse --short HEAD 2>/dev/null || echo unknown)$dirty, build type ${build_type:-unknown}"
    echo "- $(xmlsec1 --version); $(openssl version | cut -d'(' -f1)"
    echo
    echo "| document | bytes | line items | xmldsig verify (ms) | xmlsec1 --verify (ms) | ratio | xmldsig peak RSS (KiB) | xmlsec1 peak RSS (KiB) |"
    echo "|---|---:|---:|---:|---:|---:|---:|---:|"
    cat "$work/rows"
    echo
    if [ -n "$inproc_rows" ]; then
        echo "In process, single thread (\`xmldsig_bench_verify\`, median of 3 repetitions): verifications"
        echo "per CPU second (Google Benchmark's items_per_second) of \`ClsXmlDSig\` and of libxmlsec1"
        echo "linked into the same program, each starting from the document text and a key loaded once."
        echo "Ratio is xmldsig / libxmlsec1 (above 1: xmldsig is faster)."
        echo
        echo "| document | xmldsig (verifications/s) | libxmlsec1 (verifications/s) | ratio |"
        echo "|---|---:|---:|---:|"
        echo "$inproc_rows"
        echo
    fi
    if [ "$failures" -eq 0 ]; then
        echo "Every run of both tools reported the references valid."
    else
        echo "**$failures run(s) did not report the references valid: the timings above are not comparable.**"
    fi
    echo
    echo "How to read this:"
    echo
    echo "- Times are the median wall-clock time of the whole process over $runs runs, start-up"
    echo "  included; the two tools run alternately. Peak RSS is the largest maximum resident set"
    echo "  size over the runs, from \`/usr/bin/time -f %M\`. Ratio is xmldsig time / xmlsec1 time"
    echo "  (below 1: xmldsig is faster)."
    echo "- Both tools do the same work: every reference digest, then SignedInfo's canonical form"
    echo "  and the RSA-SHA256 signature value under the signer's certificate (\`--key\` for"
    echo "  xmldsig, which also checks that KeyInfo names that signer). xmldsig parses the text"
    echo "  once: the enveloped signature is left out of the canonical walk over the loaded tree."
    echo "- The documents are invoices with many line items, signed by xmlsec1 with an enveloped"
    echo "  signature (enveloped-signature and exclusive c14n transforms, SHA-256, RSA-SHA256) and"
    echo "  a freshly generated 2048-bit key."
} >"$out"

cat "$out"
if [ "$failures" -ne 0 ]; then
    echo "compare.sh: $failures run(s) failed verification" >&2
    exit 1
fi
