// The recognised XPath forms, tried in a fixed order; the first whose condition holds decides.
#include <algorithm>
#include <string>

#include "dsig/DSigReference.h"
#include "dsig/detail/XPathCases.h"
#include "dsig/detail/XmlChunks.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/text/ExtPtrArray.h"
#include "host/xml/ClsXml.h"
#include "host/xml/XmlSigRemoval.h"
#include "host/xml/_tvXmlDtd.h"

namespace xmldsig::detail {

namespace {

constexpr const char* kFilter2Uri = "http://www.w3.org/2002/06/xmldsig-filter2";
constexpr int kMaxRemovals = 100;

struct XPathCase {
    int number;  // logged as "commonXPathOption"
    bool (*applies)(const XPathStep&);
    bool (*run)(XPathStep&, LogBase&);
};

// Every XML Signature element goes, nested ones with their outer signature.
bool removeAllSignatures(StringBuffer& xml, LogBase& log) {
    _tvXmlDtd dtd;
    StringBuffer out;
    const bool ok = XmlSigRemoval::removeSignatures(xml, dtd, out, log);
    xml.takeSb(out);
    return ok;
}

// The Filter attribute and the text of the index-th element child of the Transform.
void readFilterChild(const XPathStep& step, int index, StringBuffer& filter, StringBuffer& text) {
    if (step.transform == nullptr) return;
    ClsXml* child = step.transform->getChild(index);
    if (child == nullptr) return;
    RefCountedObjectOwner owner(child);
    child->getAttrValue("Filter", filter);
    child->getContentSb(text);
}

// Case 1: not(ancestor-or-self::...Signature).
bool notAncestorSignature(const XPathStep& s) {
    return s.xpath.containsSubstring("Signature") &&
           (s.xpath.containsSubstring("not(ancestor-or-self") ||
            s.xpath.containsSubstring("not(//ancestor-or-self"));
}

bool removeSignatureBlocks(XPathStep& s, LogBase& log) {
    if (s.xpath.containsSubstring("cac:Signature")) {
        removeChunks(s.xml, "<cac:Signature>", "</cac:Signature>", kMaxRemovals);
        return true;
    }
    log.LogInfo("removing all Signatures from the XML to be canonicalized");
    return removeAllSignatures(s.xml, log);
}

// Case 2: the ebXML / SOAP next-actor elements.
bool ebXmlNextActor(const XPathStep& s) {
    return s.xpath.containsSubstring("ebxml-msg:actor:next");
}

bool removeNextActorElements(XPathStep& s, LogBase& log) {
    DSigReference::removeEbXmlFragments(s.xml, log);
    return true;
}

// Case 3: UBL 2.0 document signatures.
bool ublDocumentSignatures(const XPathStep& s) {
    return s.xpath.containsSubstring("ancestor-or-self::sig:UBLDocumentSignatures");
}

bool removeUblDocumentSignatures(XPathStep& s, LogBase& log) {
    removeChunk(s.xml, "<sig:UBLDocumentSignatures>", "</sig:UBLDocumentSignatures>");
    log.LogInfo("Found UBLDocumentSignatures transform.");
    return true;
}

// Case 4: XPath Filter 2.0 subtracting the signatures.
bool filter2Signatures(const XPathStep& s) {
    return s.algorithm.containsSubstring(kFilter2Uri) &&
           (s.xpath.containsSubstring("/descendant::ds:Signature") ||
            s.xpath.containsSubstring("/descendant::*[name()='ds:Signature']"));
}

bool subtractSignatures(XPathStep& s, LogBase& log) {
    StringBuffer filter, text;
    readFilterChild(s, 0, filter, text);
    if (!filter.equals("subtract")) {
        log.LogDataLong("unhandledXPath", 1);
        log.LogDataSb("filter", filter);
        return false;
    }
    removeAllSignatures(s.xml, log);
    return true;
}

// Case 5: any other XPath Filter 2.0; only the UBL extensions subtraction (second child) is
// supported.
bool filter2Other(const XPathStep& s) {
    return s.algorithm.containsSubstring(kFilter2Uri);
}

bool subtractUblExtensions(XPathStep& s, LogBase& log) {
    StringBuffer filter, text;
    readFilterChild(s, 1, filter, text);
    if (!filter.equals("subtract") ||
        !text.containsSubstring("ancestor::ext:UBLExtensions/ext:UBLExtension")) {
        log.LogDataLong("unhandledXPath", 3);
        log.LogDataSb("filter", filter);
        return false;
    }
    removeChunk(s.xml, "<ext:UBLExtensions>", "</ext:UBLExtensions>");
    return true;
}

// Case 6: not(//ancestor-or-self::p:Name[q:ID='v']).
bool notAncestorWithId(const XPathStep& s) {
    return s.xpath.matches("not(//ancestor-or-self::*[*ID='*'])", true);
}

bool removeElementsWithQrId(XPathStep& s, LogBase& log) {
    log.LogInfo("Matched not(//ancestor-or-self::*[*ID='*'])");
    ExtPtrArray tokens;
    s.xpath.tokenize(tokens, ":[=]");
    // A token that the expression lacks reads as empty text.
    const auto token = [&tokens](int i) {
        const StringBuffer* t = tokens.sbAt(i);
        return t != nullptr ? t->str() : std::string();
    };
    const std::string qname = token(3) + ":" + token(5);
    const std::string startTag = "<" + qname + ">";
    const std::string endTag = "</" + qname + ">";
    std::string value = token(11);
    value.erase(std::remove(value.begin(), value.end(), '\''), value.end());
    StringBuffer mustContain("<_cbc_:_ID_>_QR_</_cbc_:_ID_>");
    mustContain.replaceAllOccurances("_cbc_", token(7).c_str());
    mustContain.replaceAllOccurances("_QR_", value.c_str());
    mustContain.replaceAllOccurances("_ID_", token(9).c_str());
    log.LogDataStr("startTag", startTag.c_str());
    log.LogDataStr("endTag", endTag.c_str());
    log.LogDataSb("mustContain", mustContain);
    // The QR reference of UBL invoices is what signers exclude; the ID value named by the
    // expression is not what is matched.
    removeChunksContaining(s.xml, startTag.c_str(), endTag.c_str(), "<cbc:ID>QR</cbc:ID>",
                           kMaxRemovals);
    return true;
}

// Case 7: not(//ancestor-or-self::p:Name).
bool notAncestorElement(const XPathStep& s) {
    return s.xpath.matches("not(//ancestor-or-self::*)", true);
}

// MyInvois signs with the signature's own extension block kept out but the first UBL
// extensions block kept in: only the block opened by the second start tag goes.
bool removeSecondBlock(StringBuffer& xml, const std::string& startTag, const std::string& endTag) {
    const std::string& text = xml.str();
    const std::size_t first = text.find(startTag);
    if (first == std::string::npos) return false;
    const std::size_t second = text.find(startTag, first + 3);
    if (second == std::string::npos) return false;
    const std::size_t end = text.find(endTag, second);
    if (end == std::string::npos) return false;
    xml.removeChunk(static_cast<unsigned>(second),
                    static_cast<unsigned>(end + endTag.size() - second));
    return true;
}

bool removeNamedElements(XPathStep& s, LogBase& log) {
    log.LogInfo("Matched not(//ancestor-or-self::*)");
    std::string name = s.xpath.str();
    name.erase(0, std::string("not(//ancestor-or-self::").size());
    if (!name.empty()) name.pop_back();
    const std::string startTag = "<" + name + ">";
    const std::string endTag = "</" + name + ">";
    log.LogDataStr("startTag", startTag.c_str());
    log.LogDataStr("endTag", endTag.c_str());
    if (s.myInvois && startTag.find("UBLExtensions") != std::string::npos &&
        removeSecondBlock(s.xml, startTag, endTag)) {
        return true;
    }
    removeChunks(s.xml, startTag.c_str(), endTag.c_str(), kMaxRemovals);
    return true;
}

const XPathCase kCases[] = {
    {1, notAncestorSignature, removeSignatureBlocks},
    {2, ebXmlNextActor, removeNextActorElements},
    {3, ublDocumentSignatures, removeUblDocumentSignatures},
    {4, filter2Signatures, subtractSignatures},
    {5, filter2Other, subtractUblExtensions},
    {6, notAncestorWithId, removeElementsWithQrId},
    {7, notAncestorElement, removeNamedElements},
};

}  // namespace

bool runCommonXPath(XPathStep& step, LogBase& log) {
    for (const XPathCase& c : kCases) {
        if (!c.applies(step)) continue;
        log.LogDataLong("commonXPathOption", c.number);
        return c.run(step, log);
    }
    log.LogDataLong("unhandledXPath", 2);
    return false;
}

}  // namespace xmldsig::detail
