#!/usr/bin/env bash
# Documents whose reference (URI="", enveloped signature, then Canonical XML with comments) was
# hashed by a signer that kept the comments although an empty URI drops them. The digest comes
# from xmllint (whose --c14n keeps comments) and openssl, never from this project.
#   with-comments-kept.xml      the digest covers the comment: matches on the retry with comments
#   with-comments-changed.xml   the same with the signed comment changed: must not match
set -euo pipefail
cd "$(dirname "$0")"
body='<Order><!-- approved by the buyer --><Item>1</Item></Order>'
digest=$(printf '%s' "$body" | xmllint --c14n - | openssl dgst -sha256 -binary | openssl base64 -A)
c14n=http://www.w3.org/TR/2001/REC-xml-c14n-20010315
sig="<ds:Signature xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"><ds:SignedInfo><ds:CanonicalizationMethod Algorithm=\"$c14n\"/><ds:SignatureMethod Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256\"/><ds:Reference URI=\"\"><ds:Transforms><ds:Transform Algorithm=\"http://www.w3.org/2000/09/xmldsig#enveloped-signature\"/><ds:Transform Algorithm=\"$c14n#WithComments\"/></ds:Transforms><ds:DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\"/><ds:DigestValue>$digest</ds:DigestValue></ds:Reference></ds:SignedInfo><ds:SignatureValue>AA==</ds:SignatureValue></ds:Signature>"
doc="${body%</Order>}$sig</Order>"
printf '%s\n' "$doc" >with-comments-kept.xml
printf '%s\n' "${doc/approved by the buyer/approved by the seller}" >with-comments-changed.xml
