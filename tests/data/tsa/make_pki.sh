#!/bin/sh
# The small PKI of the loopback timestamp authority, made in DIR with the openssl tool: a test
# root CA, a TSA certificate it issued (extendedKeyUsage critical timeStamping) and a signer
# certificate for XAdES documents; openssl.cnf (copied beside them) also configures `openssl ts`.
#   make_pki.sh DIR
set -e
here=$(cd "$(dirname "$0")" && pwd)
cd "$1"
cp "$here/openssl.cnf" openssl.cnf
echo 01 >tsaserial
key() { openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:2048 -out "$1"; }
issue() { openssl x509 -req -CA ca.pem -CAkey ca.key -days 30 -extfile openssl.cnf "$@"; }
key ca.key
openssl req -x509 -new -config openssl.cnf -extensions ca_ext -key ca.key \
    -subj '/CN=xmldsig Test Root/O=xmldsig tests' -days 60 -out ca.pem
key tsa.key
openssl req -new -config openssl.cnf -key tsa.key -subj '/CN=xmldsig Test TSA/O=xmldsig tests' -out tsa.csr
issue -extensions tsa_ext -set_serial 2 -in tsa.csr -out tsa.pem
key signer.key
openssl req -new -config openssl.cnf -key signer.key -subj '/CN=xmldsig Test Signer/O=xmldsig tests' -out signer.csr
issue -extensions signer_ext -set_serial 3 -in signer.csr -out signer.pem
