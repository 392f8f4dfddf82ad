#!/usr/bin/env bash
# Builds the test PKI and the documents signed under it (openssl and xmlsec1 only):
#   root -> intermediate -> leaves: valid, expired, notyet, revoked, kcs (keyCertSign only)
#   other: an unrelated root; forger: a self-signed copy of the valid leaf's subject and serial.
#   crl.pem: the intermediate's CRL revoking the "revoked" leaf; root-crl.pem: the root's (empty).
# Run from anywhere; writes next to itself. The outputs are committed: rerunning changes keys.
set -euo pipefail
cd "$(dirname "$0")"
rm -rf pki && mkdir -p pki docs
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

conf() {  # conf NAME: a minimal CA configuration for openssl ca
    mkdir -p "$work/$1/new"
    : >"$work/$1/index.txt"
    echo 1000 >"$work/$1/serial"
    echo 1000 >"$work/$1/crlnumber"
    cat >"$work/$1/ca.cnf" <<CNF
[ca]
default_ca = this
[this]
dir = $work/$1
database = \$dir/index.txt
new_certs_dir = \$dir/new
serial = \$dir/serial
crlnumber = \$dir/crlnumber
default_md = sha256
policy = any
unique_subject = no
copy_extensions = none
default_crl_days = 7300
[any]
commonName = supplied
organizationName = optional
[v3_ca]
basicConstraints = critical, CA:true
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid
[v3_leaf]
basicConstraints = CA:false
keyUsage = critical, digitalSignature, nonRepudiation
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid
[v3_kcs]
basicConstraints = CA:false
keyUsage = critical, keyCertSign
[v3_self]
basicConstraints = CA:false
keyUsage = critical, digitalSignature
CNF
}

key() { openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out "pki/$1.key" 2>/dev/null; }

selfsigned() {  # selfsigned NAME SUBJECT EXT [SERIAL]
    key "$1"
    openssl req -new -key "pki/$1.key" -subj "$2" -out "$work/$1.csr"
    conf "$1"
    [ -n "${4:-}" ] && echo "$4" >"$work/$1/serial"
    openssl ca -batch -config "$work/$1/ca.cnf" -selfsign -keyfile "pki/$1.key" -extensions "$3" \
        -startdate 20200101000000Z -enddate 20450101000000Z -in "$work/$1.csr" \
        -out "pki/$1.pem" -notext 2>/dev/null
}

issue() {  # issue CA NAME SUBJECT EXT START END
    key "$2"
    openssl req -new -key "pki/$2.key" -subj "$3" -out "$work/$2.csr"
    openssl ca -batch -config "$work/$1/ca.cnf" -cert "pki/$1.pem" -keyfile "pki/$1.key" \
        -extensions "$4" -startdate "$5" -enddate "$6" -in "$work/$2.csr" -out "pki/$2.pem" \
        -notext 2>/dev/null
}

selfsigned root "/O=xmldsig test PKI/CN=Test Root" v3_ca
selfsigned other "/O=xmldsig other PKI/CN=Other Root" v3_ca
issue root inter "/O=xmldsig test PKI/CN=Test Intermediate" v3_ca 20200101000000Z 20440101000000Z
conf inter
issue inter valid "/O=xmldsig test PKI/CN=Valid Signer" v3_leaf 20200101000000Z 20430101000000Z
issue inter expired "/O=xmldsig test PKI/CN=Expired Signer" v3_leaf 20200101000000Z 20210101000000Z
issue inter notyet "/O=xmldsig test PKI/CN=Future Signer" v3_leaf 20400101000000Z 20430101000000Z
issue inter revoked "/O=xmldsig test PKI/CN=Revoked Signer" v3_leaf 20200101000000Z 20430101000000Z
issue inter kcs "/O=xmldsig test PKI/CN=KeyCertSign Signer" v3_kcs 20200101000000Z 20430101000000Z
# The forger copies the valid leaf's subject and serial onto a certificate of their own.
serial=$(openssl x509 -in pki/valid.pem -noout -serial | cut -d= -f2)
selfsigned forger "/O=xmldsig test PKI/CN=Valid Signer" v3_self "$serial"

openssl ca -config "$work/inter/ca.cnf" -cert pki/inter.pem -keyfile pki/inter.key \
    -revoke pki/revoked.pem -crl_reason keyCompromise 2>/dev/null
# Fixed dates, so that --at can place a validation before and after the revocation.
sed -i 's/^R\t\([0-9Z]*\)\t[0-9]*Z/R\t\1\t240601000000Z/' "$work/inter/index.txt"
openssl ca -config "$work/inter/ca.cnf" -cert pki/inter.pem -keyfile pki/inter.key -gencrl \
    -crl_lastupdate 20240701000000Z -crl_nextupdate 20440101000000Z -out pki/crl.pem 2>/dev/null
openssl ca -config "$work/root/ca.cnf" -cert pki/root.pem -keyfile pki/root.key -gencrl \
    -crl_lastupdate 20200101000000Z -crl_nextupdate 20440101000000Z -out pki/root-crl.pem 2>/dev/null
openssl x509 -in pki/root.pem -outform DER -out pki/root.der
cat pki/root.pem pki/other.pem >pki/bundle.pem
mkdir -p pki/anchors && cp pki/other.pem pki/anchors/a.pem && cp pki/root.der pki/anchors/b.der

# Documents: the leaf alone in KeyInfo, and (chain-*) the leaf with its intermediate.
for who in valid expired notyet revoked kcs forger; do
    xmlsec1 --sign --privkey-pem "pki/$who.key,pki/$who.pem" --output "docs/$who.xml" template.xml
done
xmlsec1 --sign --privkey-pem pki/valid.key,pki/valid.pem,pki/inter.pem --output docs/chain-valid.xml \
    template.xml

# XAdES: SignedProperties with a SigningCertificateV2 (the digest of CERTFILE), placed inside
# the signature's own QualifyingProperties or outside the signature, covered or not.
xades() {  # xades OUT CERTFILE inside|outside covered|uncovered
    local digest props ref
    digest=$(openssl x509 -in "pki/$2" -outform DER | openssl dgst -sha256 -binary | base64 -w0)
    props='<xades:QualifyingProperties xmlns:xades="http://uri.etsi.org/01903/v1.3.2#" Target="#sig1"><xades:SignedProperties Id="props"><xades:SignedSignatureProperties><xades:SigningTime>2025-03-01T10:00:00Z</xades:SigningTime><xades:SigningCertificateV2><xades:Cert><xades:CertDigest><ds:DigestMethod xmlns:ds="http://www.w3.org/2000/09/xmldsig#" Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/><ds:DigestValue xmlns:ds="http://www.w3.org/2000/09/xmldsig#">'"$digest"'</ds:DigestValue></xades:CertDigest></xades:Cert></xades:SigningCertificateV2></xades:SignedSignatureProperties></xades:SignedProperties></xades:QualifyingProperties>'
    ref='<ds:Reference URI="#props" Type="http://uri.etsi.org/01903#SignedProperties"><ds:Transforms><ds:Transform Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/></ds:Transforms><ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/><ds:DigestValue/></ds:Reference>'
    [ "$4" = covered ] || ref=''
    local inside="$props" outside=''
    if [ "$3" = outside ]; then inside=''; outside="<Extra>${props}</Extra>"; fi
    python3 - "$inside" "$outside" "$ref" >"$work/xades.xml" <<'PY'
import sys
t = open("xades-template.xml").read()
print(t.replace("@INSIDE@", sys.argv[1]).replace("@OUTSIDE@", sys.argv[2]).replace("@PROPSREF@", sys.argv[3]), end="")
PY
    xmlsec1 --sign --id-attr:Id http://uri.etsi.org/01903/v1.3.2#:SignedProperties \
        --privkey-pem pki/valid.key,pki/valid.pem --output "docs/$1.xml" "$work/xades.xml"
}
xades xades-match valid.pem inside covered
xades xades-mismatch expired.pem inside covered
xades xades-outside valid.pem outside covered
xades xades-uncovered valid.pem inside uncovered
