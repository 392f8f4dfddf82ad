#!/usr/bin/env python3
"""Writes the anchors the table names, read from the documents with openssl (not with xmldsig):
NAME.signer.pem, the first certificate of the signature's KeyInfo, and NAME.root.pem, a
self-signed certificate the document carries (KeyInfo or XAdES CertificateValues), if any."""
import glob, re, subprocess

def pem(b64):
    b64 = re.sub(r"\s", "", b64)
    lines = "\n".join(b64[i:i + 64] for i in range(0, len(b64), 64))
    return f"-----BEGIN CERTIFICATE-----\n{lines}\n-----END CERTIFICATE-----\n"

def openssl(text, *args):
    return subprocess.run(["openssl", "x509", "-noout", *args], input=text, text=True,
                          capture_output=True).stdout.strip()

for doc in sorted(glob.glob("*.xml")):
    name = doc[:-4]
    text = open(doc, encoding="utf-8").read()
    signature = text[re.search(r"<(\w+:)?Signature[\s>]", text).start():]
    certs = re.findall(r"<(?:\w+:)?(?:X509Certificate|EncapsulatedX509Certificate)[^>]*>([^<]*)<",
                       signature)
    open(f"{name}.signer.pem", "w").write(pem(certs[0]))
    for c in certs:
        p = pem(c)
        if openssl(p, "-subject", "-nameopt", "compat")[8:] == openssl(p, "-issuer", "-nameopt", "compat")[7:]:
            open(f"{name}.root.pem", "w").write(p)
