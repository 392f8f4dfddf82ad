// Finds one signature element in raw document text and reports where its parts lie, as byte
// offsets into that text (0 when a part is absent). The text is parsed on every search.
//
// A signature is an element named Signature in the XML Signature namespace, or an EBICS
// AuthSignature. Searches refuse ambiguity: an Id that more than one element carries, two
// signatures holding the same reference digest, and a signature with more than one SignedInfo
// or SignatureValue child all fail with a log line naming the cause.
#pragma once

#include <cstdint>

#include "host/log/LogBase.h"
#include "host/text/StringBuffer.h"
#include "host/xml/_tvXmlDtd.h"
#include "host/xml/detail/XmlDom.h"

namespace xmldsig {

class XmlSigLocate {
  public:
    // Request flag: also report the XAdES locations (the qualifying-properties family, the
    // container and the object anchor). Without it those stay 0.
    bool m_getXadesLocations = false;

    // Always reported by a successful search.
    uint32_t m_signatureLoc = 0;  // the Signature element's '<'
    uint32_t m_signatureLen = 0;  // through the end of its end tag
    uint32_t m_signedInfoLoc = 0;
    uint32_t m_signedInfoLen = 0;
    uint32_t m_signatureValueLoc = 0;

    // XAdES locations, reported only with m_getXadesLocations. QualifyingProperties is looked
    // for in the signature's Object children; the others are its descendants.
    uint32_t m_qualifyingPropertiesLoc = 0;
    uint32_t m_unsignedPropertiesLoc = 0;
    uint32_t m_unsignedSignaturePropertiesLoc = 0;
    uint32_t m_signedPropertiesLoc = 0;
    uint32_t m_signedPropertiesLen = 0;
    // The signature's last child element: a new Object goes right after it.
    uint32_t m_objectAnchorLoc = 0;
    uint32_t m_objectAnchorLen = 0;
    // The start tag of the signature's first Object that holds no QualifyingProperties, has
    // content room (not "<Object/>") and is not covered by one of the signature's References
    // (neither it nor anything inside it is named by a Reference URI): a new
    // QualifyingProperties can go in as its first content without breaking a digest.
    uint32_t m_containerLoc = 0;

    // The signature element whose Id attribute (Id, ID, id, any prefix) equals id.
    bool FindXmlSigById(const StringBuffer& id, const StringBuffer& text, _tvXmlDtd& dtd,
                        LogBase& log);
    // The signature one of whose SignedInfo References has a DigestValue equal to digest, white
    // space ignored on both sides.
    bool FindXmlSigByRefDigest(const StringBuffer& digest, const StringBuffer& text, _tvXmlDtd& dtd,
                               LogBase& log);

    void clearLocations();

    // A tree already parsed from exactly the text the next searches are given, so that they
    // need not parse it again (null: parse the text). The caller keeps it alive.
    void useParsedDocument(const dom::Document* doc) { m_parsed = doc; }

  private:
    const dom::Document* m_parsed = nullptr;
    const dom::Document* documentFor(const StringBuffer& text, dom::Document& local, LogBase& log);
    bool reportLocations(const dom::Node& sig, LogBase& log);
    bool reportXadesLocations(const dom::Node& sig, LogBase& log);
};

}  // namespace xmldsig
