// The reference driver's use of the general W3C engine (host/xml/w3c): a second reading of a
// reference that the established forms cannot process, or whose Canonical XML 1.1, XPath,
// XPointer or external-XML processing gives a digest that does not match. The engine reads the
// same document under the same Id rules; the log says that it was used and why.
#include <cstring>
#include <fstream>

#include "dsig/AlgorithmTable.h"
#include "dsig/ClsXmlDSig.h"
#include "host/crypto/_tvHash.h"
#include "host/log/LogContextExitor.h"
#include "host/log/LogNull.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsXml.h"
#include "host/xml/w3c/W3cEngine.h"

namespace xmldsig {

namespace {

constexpr std::size_t kMaxExternalOctets = 512u * 1024u * 1024u;

w3c::TransformInfo classifyTransform(const char* uri) {
    w3c::TransformInfo info;
    const AlgorithmRow* row = standardAlgorithm(kPlaceTransform, uri);
    if (row == nullptr) return info;
    info.withComments = std::strstr(uri, "WithComments") != nullptr;
    switch (row->handler) {
        case AlgHandler::Enveloped:
            info.kind = w3c::TransformKind::Enveloped;
            break;
        case AlgHandler::XPath:
            info.kind = w3c::TransformKind::XPath;
            break;
        case AlgHandler::XPathFilter2:
            info.kind = w3c::TransformKind::Filter2;
            break;
        case AlgHandler::C14nInclusive:
            info.kind = w3c::TransformKind::C14n10;
            break;
        case AlgHandler::C14nExclusive:
            info.kind = w3c::TransformKind::Exclusive10;
            break;
        case AlgHandler::C14n11:
            info.kind = w3c::TransformKind::C14n11;
            break;
        case AlgHandler::Base64:
            info.kind = w3c::TransformKind::Base64;
            break;
        case AlgHandler::Refused:
            info.kind = w3c::TransformKind::Refused;
            break;
        default:
            break;
    }
    return info;
}

// Why the general engine should read this reference again; empty when it should not.
std::string engineReason(const DSigReference& ref, bool external) {
    const std::string uri = ref.m_uri.str();
    if (external && ref.m_transforms.getSize() == 0) return "";
    if (external) return "transforms over external data";
    if (uri.rfind("#xpointer(", 0) == 0 && uri != "#xpointer(/)")
        return "an XPointer outside the recognised forms";
    for (const char* marker : {"xml-c14n11", "REC-xpath-19991116", "xmldsig-filter2"})
        if (ref.m_transforms.containsSubstring(marker))
            return std::string("a transform the established forms approximate (") + marker + ")";
    return "";
}

bool readFileBounded(const std::string& path, DataBuffer& out, LogBase& log) {
    std::ifstream in(path, std::ios::binary);
    std::string bytes;
    char block[65536];
    while (in && bytes.size() <= kMaxExternalOctets) {
        in.read(block, sizeof block);
        bytes.append(block, static_cast<std::size_t>(in.gcount()));
    }
    if (bytes.size() > kMaxExternalOctets) {
        log.LogError("The external data is too large to be read as XML.");
        return false;
    }
    out.clear();
    out.append(bytes.data(), bytes.size());
    return true;
}

}  // namespace

bool ClsXmlDSig::externalOctets(int index, ExtPtrArraySb& refDirs, DataBuffer& out, LogBase& log) {
    // The established attempt finds the data under its own rules (caller data, then the
    // reference directories); run it quietly once more, keeping what it hashed.
    const bool keep = m_keepHashedData;
    const int reason = m_refFailReason;
    m_keepHashedData = true;
    bool missing = false;
    LogNull quiet;
    verifyReferenceDigest2(index, missing, refDirs, quiet);
    m_keepHashedData = keep;
    m_refFailReason = reason;
    if (missing) return false;
    if (!m_lastHashedFile.isEmpty()) return readFileBounded(m_lastHashedFile.getUtf8(), out, log);
    out.clear();
    out.append(m_lastHashed);
    return out.getSize() != 0;
}

bool ClsXmlDSig::generalEngineReading(int index, ExtPtrArraySb& refDirs, LogBase& log) {
    const int failReason = m_refFailReason;
    if (failReason != 1 && failReason != 5 && failReason != 99) return false;
    ClsXml* refNode = getReference(index, log);
    if (refNode == nullptr) return false;
    RefCountedObjectOwner owner(refNode);
    DSigReference reference;
    reference.parseReference(*refNode, log);
    StringBuffer uri(reference.m_uri);
    uri.trim2();
    const bool external = uri.getSize() != 0 && uri.getString()[0] != '#';
    const std::string why = engineReason(reference, external);
    if (why.empty()) return false;

    LogContextExitor ctx(log, "generalEngineReading");
    log.LogInfo("Reading the reference again with the general W3C engine.");
    log.LogDataStr("why", why.c_str());
    DataBuffer data, octets;
    if (external && !externalOctets(index, refDirs, data, log)) return false;
    w3c::ReferenceInput in;
    in.classify = classifyTransform;
    in.text = m_xmlText.getString();
    in.length = m_xmlText.getSize();
    in.signatureIndex = m_selector;
    in.referenceIndex = index;
    in.externalOctets = external ? &data : nullptr;
    in.expectedDigestValue = reference.m_digestValue.str();
    if (!w3c::referenceOctets(in, octets, log)) return false;

    const int hashAlg = digestMethodHash(reference.m_digestMethod.getString());
    DataBuffer digest;
    if (!_tvHash::doHash(octets.getData2(), octets.getSize(), hashAlg, digest)) {
        log.LogError("This build cannot compute the hash the digest method names.");
        log.LogDataSb("digestMethod", reference.m_digestMethod);
        return false;
    }
    if (DataBuffer* record = hashRecord()) {
        record->clear();
        record->append(octets);
        m_lastHashedFile.clear();  // what was hashed is the engine's output, not the file
    }
    StringBuffer calculated;
    digest.encodeDB("base64", calculated);
    log.LogDataSb("calculatedDigest", calculated);
    log.LogDataSb("storedRefDigest", reference.m_digestValue);
    if (!calculated.equals(reference.m_digestValue)) return false;
    log.LogInfo("The reference digest verified under the general engine.");
    m_refFailReason = 0;
    m_readings.setReference(index, AlgorithmReadings::kSecond, "general engine: " + why);
    return true;
}

}  // namespace xmldsig
