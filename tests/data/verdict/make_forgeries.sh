#!/bin/sh
# Makes the signed, forged and tampered documents that verdict_cases.tsv checks, with openssl,
# xmlsec1 and python3 text edits only. KeyInfo is outside what an enveloped reference covers, so
# an attacker may rewrite it after signing; the edits below do exactly that.
# Run from anywhere: sh tests/data/verdict/make_forgeries.sh
set -eu
cd "$(dirname "$0")"
XMLDSIG='http://www.w3.org/2000/09/xmldsig#'

cert() {  # name, subject, key algorithm options
    openssl req -x509 -newkey "$3" -nodes -keyout "$1.key" -out "$1.pem" -days 7300 \
        -subj "$2" 2>/dev/null
}
cert genuine "/CN=Genuine Signer/O=Verdict Tests" rsa:2048
cert forger "/CN=Forger/O=Verdict Tests" rsa:2048
cert alice "/CN=Alice/O=Verdict Tests" rsa:2048
cert bob "/CN=Bob/O=Verdict Tests" rsa:2048
openssl dsaparam -out dsa.param 2048 2>/dev/null
cert forger-dsa "/CN=Forger DSA/O=Verdict Tests" dsa:dsa.param
rm -f dsa.param

invoice() {  # signature method fragment, KeyInfo content
    cat <<XML
<?xml version="1.0" encoding="UTF-8"?>
<Invoice xmlns="urn:example:invoice"><ID>INV-9</ID><Total currency="EUR">20.00</Total>
<ds:Signature xmlns:ds="$XMLDSIG"><ds:SignedInfo>
<ds:CanonicalizationMethod Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/>
<ds:SignatureMethod Algorithm="$1"/>
<ds:Reference URI=""><ds:Transforms>
<ds:Transform Algorithm="${XMLDSIG}enveloped-signature"/>
<ds:Transform Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/></ds:Transforms>
<ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/>
<ds:DigestValue/></ds:Reference></ds:SignedInfo><ds:SignatureValue/>
<ds:KeyInfo>$2</ds:KeyInfo></ds:Signature></Invoice>
XML
}
RSA256='http://www.w3.org/2001/04/xmldsig-more#rsa-sha256'
DSA256='http://www.w3.org/2009/xmldsig11#dsa-sha256'

sign() {  # out, key, cert, template on stdin
    cat >tmpl.xml
    xmlsec1 --sign --privkey-pem "$2,$3" --output "$1" tmpl.xml
    rm -f tmpl.xml
}
b64() { grep -v -- ----- "$1" | tr -d '\n'; }

# The genuine signer's invoice, and the forger's own, certificate in KeyInfo.
invoice "$RSA256" "<ds:X509Data/>" | sign genuine-signed.xml genuine.key genuine.pem
invoice "$RSA256" "<ds:X509Data/>" | sign forger-signed.xml forger.key forger.pem

# Forgery 1: the genuine certificate put first in the forger's X509Data.
python3 - "$(b64 genuine.pem)" <<'PY'
import sys, re
s = open("forger-signed.xml").read()
s = re.sub(r"<(\w+:)?X509Certificate>",
           lambda m: "<%sX509Certificate>%s</%sX509Certificate>%s" % (
               m.group(1) or "", sys.argv[1], m.group(1) or "", m.group(0)), s, count=1)
open("cert-first-forged.xml", "w").write(s)
PY

# Forgery 2: the genuine RSA key value before the forger's DSA key value.
invoice "$RSA256" "<ds:KeyValue/>" | sign genuine-keyvalue.xml genuine.key genuine.pem
invoice "$DSA256" "<ds:KeyValue/>" | sign forger-keyvalue.xml forger-dsa.key forger-dsa.pem
python3 <<'PY'
import re
genuine = open("genuine-keyvalue.xml").read()
rsa = re.search(r"<(\w+:)?RSAKeyValue>.*?</(\w+:)?RSAKeyValue>", genuine, re.S).group(0)
s = open("forger-keyvalue.xml").read()
s = re.sub(r"(<(\w+:)?KeyValue>)", lambda m: m.group(1) + rsa, s, count=1)
open("two-keyvalues-forged.xml", "w").write(s)
PY
rm -f genuine-keyvalue.xml forger-keyvalue.xml

# KeyName: Bob signs naming himself; the forged copy names Alice instead.
invoice "$RSA256" "<ds:KeyName>bob</ds:KeyName>" | sign keyname-bob.xml bob.key bob.pem
sed 's|KeyName>bob<|KeyName>alice<|' keyname-bob.xml >keyname-swapped.xml

# Wrapping: the signed Id carried by a second element.
cat >wrap.tmpl <<XML
<?xml version="1.0" encoding="UTF-8"?>
<Envelope><Body Id="body"><Order>10 widgets</Order></Body>
<ds:Signature xmlns:ds="$XMLDSIG"><ds:SignedInfo>
<ds:CanonicalizationMethod Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/>
<ds:SignatureMethod Algorithm="$RSA256"/>
<ds:Reference URI="#body"><ds:Transforms>
<ds:Transform Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/></ds:Transforms>
<ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/>
<ds:DigestValue/></ds:Reference></ds:SignedInfo><ds:SignatureValue/>
<ds:KeyInfo><ds:X509Data/></ds:KeyInfo></ds:Signature></Envelope>
XML
xmlsec1 --sign --id-attr:Id Body --privkey-pem genuine.key,genuine.pem --output body-signed.xml \
    wrap.tmpl
rm -f wrap.tmpl
sed 's|<Envelope>|<Envelope><Body Id="body"><Order>1000 widgets</Order></Body>|' body-signed.xml \
    >duplicate-id-forged.xml

# A signature method this verifier does not implement (the value no longer verifies either).
sed "s|$RSA256|http://example.org/xmldsig#gost-sha256|" genuine-signed.xml >unknown-method.xml

# SOAP: the signed Body moved into a header wrapper, a forged Body in its place. The digest
# still matches; only the coverage (the wrapper's path) shows what happened.
SOAP='http://schemas.xmlsoap.org/soap/envelope/'
cat >soap.tmpl <<XML
<?xml version="1.0" encoding="UTF-8"?>
<soap:Envelope xmlns:soap="$SOAP"><soap:Header><ds:Signature xmlns:ds="$XMLDSIG"><ds:SignedInfo>
<ds:CanonicalizationMethod Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/>
<ds:SignatureMethod Algorithm="$RSA256"/>
<ds:Reference URI="#body"><ds:Transforms>
<ds:Transform Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/></ds:Transforms>
<ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/>
<ds:DigestValue/></ds:Reference></ds:SignedInfo><ds:SignatureValue/>
<ds:KeyInfo><ds:X509Data/></ds:KeyInfo></ds:Signature></soap:Header><soap:Body Id="body"><Order>10 widgets</Order></soap:Body></soap:Envelope>
XML
xmlsec1 --sign --id-attr:Id "$SOAP:Body" --privkey-pem genuine.key,genuine.pem \
    --output soap-signed.xml soap.tmpl
rm -f soap.tmpl
python3 <<'PY'
import re
s = open("soap-signed.xml").read()
body = re.search(r'<soap:Body Id="body">.*?</soap:Body>', s, re.S).group(0)
s = s.replace(body, '<soap:Body><Order>1000 widgets</Order></soap:Body>')
s = s.replace("</soap:Header>", "<Wrapper>" + body + "</Wrapper></soap:Header>")
open("soap-body-moved.xml", "w").write(s)
PY

# A detached signature over attachment.txt, pasted into a document it never signed.
printf 'delivery note 7\n' >attachment.txt
cat >detached.tmpl <<XML
<?xml version="1.0" encoding="UTF-8"?>
<ds:Signature xmlns:ds="$XMLDSIG"><ds:SignedInfo>
<ds:CanonicalizationMethod Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/>
<ds:SignatureMethod Algorithm="$RSA256"/>
<ds:Reference URI="attachment.txt">
<ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/>
<ds:DigestValue/></ds:Reference></ds:SignedInfo><ds:SignatureValue/>
<ds:KeyInfo><ds:X509Data/></ds:KeyInfo></ds:Signature>
XML
xmlsec1 --sign --privkey-pem genuine.key,genuine.pem --output detached.xml detached.tmpl
rm -f detached.tmpl
python3 <<'PY'
s = open("detached.xml").read()
sig = s[s.index("<ds:Signature"):]
open("detached-grafted.xml", "w").write(
    '<?xml version="1.0" encoding="UTF-8"?>\n<Invoice><Total>1000.00</Total>' + sig.strip() +
    "</Invoice>\n")
PY
rm -f detached.xml

# A Manifest over two files; the second file changed afterwards.
mkdir -p manifest manifest-changed
printf 'price list v1\n' >manifest/prices.txt
printf 'terms v1\n' >manifest/terms.txt
cat >manifest.tmpl <<XML
<?xml version="1.0" encoding="UTF-8"?>
<ds:Signature xmlns:ds="$XMLDSIG"><ds:SignedInfo>
<ds:CanonicalizationMethod Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/>
<ds:SignatureMethod Algorithm="$RSA256"/>
<ds:Reference URI="#manifest" Type="${XMLDSIG}Manifest">
<ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/><ds:DigestValue/>
</ds:Reference></ds:SignedInfo><ds:SignatureValue/><ds:KeyInfo><ds:X509Data/></ds:KeyInfo>
<ds:Object><ds:Manifest Id="manifest">
<ds:Reference URI="prices.txt"><ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/><ds:DigestValue/></ds:Reference>
<ds:Reference URI="terms.txt"><ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/><ds:DigestValue/></ds:Reference>
</ds:Manifest></ds:Object></ds:Signature>
XML
(cd manifest && xmlsec1 --sign --privkey-pem ../genuine.key,../genuine.pem --output signed.xml \
    ../manifest.tmpl)
rm -f manifest.tmpl
cp manifest/signed.xml manifest/prices.txt manifest-changed/
printf 'terms v2, changed after signing\n' >manifest-changed/terms.txt

# Weak algorithms: a 1024-bit RSA key, SHA-1 digest and signature method.
cert weak "/CN=Weak Signer/O=Verdict Tests" rsa:1024
invoice 'http://www.w3.org/2000/09/xmldsig#rsa-sha1' "<ds:X509Data/>" |
    sed 's|http://www.w3.org/2001/04/xmlenc#sha256|http://www.w3.org/2000/09/xmldsig#sha1|' |
    sign weak-sha1.xml weak.key weak.pem

# The genuine invoice with its total changed after signing.
sed 's|>20.00<|>99.00<|' genuine-signed.xml >tampered-total.xml

rm -f ./*.key
