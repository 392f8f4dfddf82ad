#!/usr/bin/env python3
"""Writes the seed corpus of every fuzz target under OUTDIR/<target>/, from tests/corpus.

Usage: fuzz-seeds.py OUTDIR

Each seed starts with the option bytes its harness reads (see fuzz/*_fuzzer.cpp), then the
input: documents (verify, canon, rewrite), c14n vectors with their Id and prefix list (canon),
certificates taken from X509Certificate elements and certificate files (der), key files and
PKCS#12 files with the corpus password (keys), timestamp tokens made here by openssl (cms),
option objects (json) and base64/hex texts (codec). Seeds are generated, never committed.
"""
import base64
import csv
import os
import re
import subprocess
import sys
import tempfile

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
CORPUS = os.path.join(ROOT, "tests", "corpus")
MAX_SEED = 256 * 1024
counts = {}


def put(out, target, data):
    if len(data) > MAX_SEED:
        return
    folder = os.path.join(out, target)
    os.makedirs(folder, exist_ok=True)
    n = counts.get(target, 0)
    counts[target] = n + 1
    with open(os.path.join(folder, "seed-%05d" % n), "wb") as f:
        f.write(data)


def corpus_files(*suffixes):
    for folder, _, names in os.walk(CORPUS):
        for name in sorted(names):
            if name.endswith(suffixes):
                path = os.path.join(folder, name)
                with open(path, "rb") as f:
                    yield path, f.read()


def documents(out):
    for _, doc in corpus_files(".xml", ".ddoc", ".tmpl"):
        put(out, "verify_fuzzer", b"\x00" + doc)
        put(out, "canon_fuzzer", b"\x00\x00\x00\x00\x00\x00" + doc)
        put(out, "rewrite_fuzzer", b"\x00\x00" + doc)
        for cert in re.findall(rb"X509Certificate>\s*([A-Za-z0-9+/=\s]+?)\s*<", doc):
            try:
                der = base64.b64decode(re.sub(rb"\s", b"", cert))
            except ValueError:
                continue
            put(out, "der_fuzzer", b"\x00" + der)
            put(out, "der_fuzzer", b"\x01" + der)
            put(out, "codec_fuzzer", b"\x00" + cert)
        for digest in re.findall(rb"DigestValue>([^<]{8,128})<", doc)[:2]:
            put(out, "codec_fuzzer", b"\x00" + digest)
    # Family rules, each on documents of its family.
    for mode, pattern in ((1, b"<DTE "), (2, b"<cac:Signature>"), (3, b"<LAU"), (7, b"Signature")):
        for _, doc in corpus_files(".xml"):
            if pattern in doc:
                put(out, "rewrite_fuzzer", bytes([mode]) + b"\x00" + doc)


def c14n_vectors(out):
    with open(os.path.join(CORPUS, "C14N_VECTORS.tsv"), newline="") as f:
        for row in csv.DictReader(f, delimiter="\t"):
            try:
                with open(os.path.join(CORPUS, row["input"]), "rb") as g:
                    doc = g.read()
            except OSError:
                continue
            alg = row["algorithm"]
            mode = (1 if "exc-c14n" in alg else 0) | (2 if "WithComments" in alg else 0)
            prefixes = row.get("inclusive_prefixes", "").encode()
            ident = b""
            m = re.match(r"id\('?([^')]*)'?\)|#(\S+)", row.get("node_set", ""))
            if m:
                ident = (m.group(1) or m.group(2)).encode()
                mode |= 4
            put(out, "canon_fuzzer", bytes([mode, 0, 0, 0]) + ident + b"\x00" + prefixes + b"\x00" + doc)


def keys(out):
    for path, data in corpus_files(".pem", ".der", ".crt", ".p8-pem", ".p8-der", ".key", ".pub"):
        put(out, "keys_fuzzer", b"\x01" + data)
        if path.endswith((".der", ".crt")):
            put(out, "der_fuzzer", b"\x00" + data)
    for _, data in corpus_files(".p12", ".pfx"):
        put(out, "keys_fuzzer", b"\x02secret\x00" + data)
    for _, doc in corpus_files(".xml"):
        for kv in re.findall(rb"<(?:\w+:)?KeyValue>.*?</(?:\w+:)?KeyValue>", doc, re.S)[:1]:
            put(out, "keys_fuzzer", b"\x00" + kv)


def tokens(out):
    conf = ("asn1=SEQUENCE:tst\n[tst]\nversion=INTEGER:1\npolicy=OID:1.2.3.4.1\n"
            "imprint=SEQUENCE:imprint\nserial=INTEGER:42\ntime=GENTIME:20240501100000Z\n"
            "nonce=INTEGER:0x1234\n[imprint]\nalg=SEQUENCE:alg\n"
            "msg=FORMAT:HEX,OCTETSTRING:" + "11" * 32 + "\n[alg]\noid=OID:sha256\n")
    with tempfile.TemporaryDirectory() as tmp:
        def run(*args):
            subprocess.run(args, cwd=tmp, check=True, capture_output=True)
        with open(os.path.join(tmp, "tst.cnf"), "w") as f:
            f.write(conf)
        try:
            run("openssl", "asn1parse", "-genconf", "tst.cnf", "-noout", "-out", "tst.der")
            run("openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256",
                "-nodes", "-keyout", "k.pem", "-out", "c.pem", "-subj", "/CN=fuzz tsa", "-days", "3650",
                "-addext", "extendedKeyUsage=critical,timeStamping")
            run("openssl", "cms", "-sign", "-binary", "-nodetach", "-econtent_type",
                "id-smime-ct-TSTInfo", "-signer", "c.pem", "-inkey", "k.pem", "-outform", "DER",
                "-in", "tst.der", "-out", "tok.der")
            run("openssl", "cms", "-sign", "-binary", "-nodetach", "-signer", "c.pem", "-inkey",
                "k.pem", "-outform", "DER", "-in", "tst.cnf", "-out", "data.der")
        except (OSError, subprocess.CalledProcessError) as e:
            print("fuzz-seeds: no token seeds (%s)" % e, file=sys.stderr)
            return
        for name, modes in (("tok.der", (0, 2, 4)), ("data.der", (0, 4)), ("tst.der", (1,))):
            with open(os.path.join(tmp, name), "rb") as f:
                data = f.read()
            for mode in modes:
                put(out, "cms_fuzzer", bytes([mode]) + data)


def small_seeds(out):
    for text in (b'{"VerifyTsaCertChain": true}', b'{"MaxReferences": 200, "MaxTransforms": 20}',
                 b'{"timestampToken": {"tsaUrl": "http://127.0.0.1/", "hashAlg": "sha256", '
                 b'"requestTsaCert": true, "policyOid": "1.2.3"}}', b'{"a": [1, 2.5, null, "x\\u00e9"]}'):
        put(out, "json_fuzzer", b"timestampToken.tsaUrl\x00" + text)
    for mode, text in ((0, b"SGVsbG8gd29ybGQ="), (1, b"SGVsbG8_d29ybGQ-"), (2, b"00FFab10"),
                       (0, b"SGVs\nbG8"), (2, b"0 1 2 3")):
        put(out, "codec_fuzzer", bytes([mode]) + text)


def xpath_seeds(out):
    # The expressions of the hostile-XPath table, each as every kind, over one small document.
    doc = (b'<r xmlns:dsig="http://www.w3.org/2000/09/xmldsig#"><e Id="i1">t</e><e Id="i2"/>'
           b'<dsig:Signature><dsig:XPath>x</dsig:XPath></dsig:Signature></r>')
    table = os.path.join(ROOT, "tests", "data", "w3c", "hostile_xpath.tsv")
    with open(table, "rb") as f:
        rows = [line.rstrip(b"\n").split(b"\t") for line in f if not line.startswith(b"#")]
    for row in rows[1:]:
        for kind in range(3):
            put(out, "xpath_fuzzer", bytes([kind]) + row[-1] + b"\x00" + doc)


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    out = sys.argv[1]
    documents(out)
    c14n_vectors(out)
    keys(out)
    tokens(out)
    small_seeds(out)
    xpath_seeds(out)
    for target in sorted(counts):
        print("%s: %d seeds" % (target, counts[target]))


if __name__ == "__main__":
    main()
