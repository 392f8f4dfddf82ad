#!/usr/bin/env python3
"""Makes the signed documents of docs/examples with other software than xmldsig.

    python3 docs/examples/make-examples.py

Writes, next to this script:
  xades-invoice.xml     an invoice with an enveloped XAdES signature (SignedProperties with a
                        SigningTime, an Id on SignatureValue), signed by xmlsec1
  polish-declaration.xml
                        a tax declaration in a crd.gov.pl namespace, signed the way signing
                        software with the attribute-sorting fault signs it: the canonical bytes
                        come from xmllint, then the one start tag whose attributes the faulty
                        signer orders by qualified name is rewritten, and openssl hashes and
                        signs

Each run makes a new key pair (only the certificate is kept, inside the documents), so the
signatures change from run to run; the guide's examples do not depend on their bytes.
"""
import base64
import os
import subprocess
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
DSIG = "http://www.w3.org/2000/09/xmldsig#"
CRD = "http://crd.gov.pl/wzor/2023/12/29/13064/"
ETD = "http://crd.gov.pl/xml/schematy/dziedzinowe/mf/2022/09/13/eD/DefinicjeTypy/"
C14N = "http://www.w3.org/TR/2001/REC-xml-c14n-20010315"


def run(args, data=None, cwd=None):
    return subprocess.run(args, input=data, capture_output=True, check=True, cwd=cwd).stdout


def make_key(work, name):
    key, cert = os.path.join(work, name + ".key"), os.path.join(work, name + ".pem")
    run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-keyout", key, "-out",
         cert, "-days", "3650", "-subj", "/CN=xmldsig guide signer/O=Example"])
    return key, cert


def cert_base64(cert):
    lines = open(cert).read().strip().splitlines()
    return "\n".join(lines[1:-1])


def wrap64(b64):
    return "\n".join(b64[i:i + 64] for i in range(0, len(b64), 64))


def c14n(xml_text):
    return run(["xmllint", "--c14n", "-"], xml_text.encode())


def sha256_b64(data):
    return base64.b64encode(run(["openssl", "dgst", "-sha256", "-binary"], data)).decode()


XADES_TEMPLATE = """<?xml version="1.0" encoding="UTF-8"?>
<Invoice xmlns="urn:example:invoice">
  <ID>INV-2026-0042</ID>
  <IssueDate>2026-11-22</IssueDate>
  <Total currency="EUR">42.00</Total>
  <ds:Signature xmlns:ds="http://www.w3.org/2000/09/xmldsig#" Id="sig-1">
    <ds:SignedInfo>
      <ds:CanonicalizationMethod Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/>
      <ds:SignatureMethod Algorithm="http://www.w3.org/2001/04/xmldsig-more#rsa-sha256"/>
      <ds:Reference URI="">
        <ds:Transforms>
          <ds:Transform Algorithm="http://www.w3.org/2000/09/xmldsig#enveloped-signature"/>
          <ds:Transform Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/>
        </ds:Transforms>
        <ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/>
        <ds:DigestValue/>
      </ds:Reference>
      <ds:Reference URI="#sig-1-signedprops" Type="http://uri.etsi.org/01903#SignedProperties">
        <ds:Transforms>
          <ds:Transform Algorithm="http://www.w3.org/2001/10/xml-exc-c14n#"/>
        </ds:Transforms>
        <ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/>
        <ds:DigestValue/>
      </ds:Reference>
    </ds:SignedInfo>
    <ds:SignatureValue Id="sig-1-value"/>
    <ds:KeyInfo>
      <ds:X509Data/>
    </ds:KeyInfo>
    <ds:Object>
      <xades:QualifyingProperties xmlns:xades="http://uri.etsi.org/01903/v1.3.2#" Target="#sig-1">
        <xades:SignedProperties Id="sig-1-signedprops">
          <xades:SignedSignatureProperties>
            <xades:SigningTime>2026-11-22T10:00:00Z</xades:SigningTime>
          </xades:SignedSignatureProperties>
        </xades:SignedProperties>
      </xades:QualifyingProperties>
    </ds:Object>
  </ds:Signature>
</Invoice>
"""

XADES_ID = "--id-attr:Id"
XADES_PROPS = "http://uri.etsi.org/01903/v1.3.2#:SignedProperties"


def make_xades(work):
    key, cert = make_key(work, "xades")
    tmpl = os.path.join(work, "xades-template.xml")
    out = os.path.join(HERE, "xades-invoice.xml")
    with open(tmpl, "w") as f:
        f.write(XADES_TEMPLATE)
    run(["xmlsec1", "--sign", "--privkey-pem", key + "," + cert, XADES_ID, XADES_PROPS,
         "--output", out, tmpl])
    run(["xmlsec1", "--verify", "--trusted-pem", cert, XADES_ID, XADES_PROPS, out])


# The attachment's attributes in the W3C canonical order (unqualified ones by local name, then
# the qualified one) and in the order of the faulty signer (by qualified name as written).
W3C_ORDER = 'ID="Zal-1" nazwa="Ulgi" wersja="1" etd:kod="PIT/O"'
FAULTY_ORDER = 'ID="Zal-1" etd:kod="PIT/O" nazwa="Ulgi" wersja="1"'

DECLARATION_BODY = """  <Naglowek>
    <KodFormularza kodPodatku="PIT" kodSystemowy="PIT-37 (29)" wersjaSchemy="1-0E">PIT-37</KodFormularza>
    <Rok>2023</Rok>
  </Naglowek>
  <Podmiot1 rola="Podatnik">
    <etd:OsobaFizyczna><etd:NIP>1234567890</etd:NIP><etd:Nazwisko>KOWALSKI</etd:Nazwisko></etd:OsobaFizyczna>
  </Podmiot1>
  <Zalacznik """ + W3C_ORDER + """><P_1>100.00</P_1></Zalacznik>
"""

ROOT_OPEN = '<Deklaracja xmlns="%s" xmlns:etd="%s">\n' % (CRD, ETD)


def signed_info(doc_digest, attachment_digest, extra_ns=""):
    return ("<ds:SignedInfo%s>\n"
            '      <ds:CanonicalizationMethod Algorithm="%s"/>\n'
            '      <ds:SignatureMethod Algorithm="http://www.w3.org/2001/04/xmldsig-more#rsa-sha256"/>\n'
            '      <ds:Reference URI="">\n'
            "        <ds:Transforms>\n"
            '          <ds:Transform Algorithm="http://www.w3.org/2000/09/xmldsig#enveloped-signature"/>\n'
            '          <ds:Transform Algorithm="%s"/>\n'
            "        </ds:Transforms>\n"
            '        <ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/>\n'
            "        <ds:DigestValue>%s</ds:DigestValue>\n"
            "      </ds:Reference>\n"
            '      <ds:Reference URI="#Zal-1">\n'
            "        <ds:Transforms>\n"
            '          <ds:Transform Algorithm="%s"/>\n'
            "        </ds:Transforms>\n"
            '        <ds:DigestMethod Algorithm="http://www.w3.org/2001/04/xmlenc#sha256"/>\n'
            "        <ds:DigestValue>%s</ds:DigestValue>\n"
            "      </ds:Reference>\n"
            "    </ds:SignedInfo>") % (extra_ns, C14N, C14N, doc_digest, C14N, attachment_digest)


def faulty(canonical):
    text = canonical.decode()
    assert text.count(W3C_ORDER) == 1, "the attachment's start tag is not where expected"
    return text.replace(W3C_ORDER, FAULTY_ORDER).encode()


def make_declaration(work):
    key, cert = make_key(work, "declaration")
    # Reference 0: the whole declaration without its signature (enveloped), canonicalized.
    doc_digest = sha256_b64(faulty(c14n(ROOT_OPEN + DECLARATION_BODY + "  \n</Deklaracja>\n")))
    # Reference 1: the attachment with the namespaces it inherits, as inclusive C14N renders it.
    attachment = ('<Zalacznik xmlns="%s" xmlns:etd="%s" %s><P_1>100.00</P_1></Zalacznik>' %
                  (CRD, ETD, W3C_ORDER))
    attachment_digest = sha256_b64(faulty(c14n(attachment)))
    # SignedInfo with every namespace in scope where it stands.
    standalone = signed_info(doc_digest, attachment_digest,
                             ' xmlns="%s" xmlns:ds="%s" xmlns:etd="%s"' % (CRD, DSIG, ETD))
    signature = base64.b64encode(
        run(["openssl", "dgst", "-sha256", "-sign", key], c14n(standalone))).decode()
    document = (
        '<?xml version="1.0" encoding="UTF-8"?>\n' + ROOT_OPEN + DECLARATION_BODY +
        '  <ds:Signature xmlns:ds="%s" Id="Sig-1">\n    ' % DSIG +
        signed_info(doc_digest, attachment_digest) + "\n"
        "    <ds:SignatureValue>\n" + wrap64(signature) + "\n</ds:SignatureValue>\n"
        "    <ds:KeyInfo><ds:X509Data><ds:X509Certificate>\n" + cert_base64(cert) +
        "\n</ds:X509Certificate></ds:X509Data></ds:KeyInfo>\n"
        "  </ds:Signature>\n</Deklaracja>\n")
    with open(os.path.join(HERE, "polish-declaration.xml"), "w") as f:
        f.write(document)


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as work:
        make_xades(work)
        make_declaration(work)
