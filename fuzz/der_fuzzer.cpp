// Certificate DER (every accessor the verifier uses on a certificate it was handed) and the
// ASN.1-to-XML conversion. Property: when derToXml accepts the bytes, xmlToDer of its rendering
// gives the same bytes back.
#include <memory>
#include <string>

#include "FuzzInput.h"
#include "host/cert/Asn1XmlConverter.h"
#include "host/cert/DistinguishedName.h"
#include "host/cert/TavolinX509.h"
#include "host/log/LogNull.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsXml.h"

using namespace xmldsig;

namespace {

void readCertificate(const DataBuffer& der, LogBase& log) {
    TavolinX509 cert;
    if (!cert.loadX509Der(der, log)) return;
    XString text;
    DataBuffer bytes;
    for (bool subject : {true, false}) {
        if (cert.getDN(subject, true, text, log, 0)) {
            StringBuffer key;
            DistinguishedName::toTvCanonHashKey(text.getUtf8(), key, log);
        }
    }
    cert.get_SubjectCN(text, log);
    cert.get_SerialNumber(text, log);
    cert.get_Sha1Thumbprint(text);
    cert.getSubjectKeyIdOrComputed(bytes);
    cert.get_PublicKey(bytes, log);
    cert.get_ValidFromStr(text);
    cert.isIssuedBy(cert);
}

void roundTrip(const DataBuffer& der, bool indent, LogBase& log) {
    StringBuffer xml;
    if (!Asn1XmlConverter::derToXml(der, indent, false, xml, nullptr, log)) return;
    ClsXml* tree = ClsXml::createNewCls();
    RefCountedObjectOwner owner(tree);
    if (tree == nullptr) return;
    if (!tree->loadXml(xml, false, log))
        fuzz::propertyBroken("derToXml wrote XML that does not load");
    DataBuffer back;
    if (!Asn1XmlConverter::xmlToDer(*tree, back, log))
        fuzz::propertyBroken("xmlToDer refused derToXml's XML");
    if (!back.equals(der)) fuzz::propertyBroken("xmlToDer(derToXml(der)) != der");
}

}  // namespace

XMLDSIG_FUZZ_TARGET(der_fuzzer) {
    fuzz::FuzzInput in(data, size);
    const uint8_t mode = in.byte();
    const DataBuffer der = in.restDb();
    LogNull log;
    if (mode & 1)
        roundTrip(der, (mode & 2) != 0, log);
    else
        readCertificate(der, log);
    return 0;
}
