// DER to XML: one pass over the bytes with an explicit stack of open constructed values, so
// nesting costs no native stack.
#include "host/cert/Asn1XmlConverter.h"

#include <new>
#include <string>
#include <vector>

#include "host/cert/detail/Asn1Values.h"
#include "host/cert/detail/DerHeader.h"
#include "host/log/LogBase.h"
#include "host/text/DataBuffer.h"
#include "host/text/ExtPtrArray.h"
#include "host/text/StringBuffer.h"
#include "host/xml/XmlEscape.h"

namespace xmldsig {
namespace {

using detail::Asn1Kind;
using detail::Asn1Type;
using detail::DerHeader;
using detail::TagClass;

const char kHex[] = "0123456789ABCDEF";

struct OpenValue {
    std::size_t end;   // offset just past the value's content
    const char* name;  // element name to close
    bool hasChildren = false;
};

class XmlWriter {
  public:
    XmlWriter(const DataBuffer& der, bool indent, ExtPtrArray* parts)
        : m_data(der.getData2()), m_size(der.getSize()), m_indent(indent), m_parts(parts) {}

    bool run(std::string& xml, std::string& error, std::size_t& errorOffset);

  private:
    bool writeValue(const DerHeader& h, std::string& error);
    void startTag(const char* name, const DerHeader& h, int unusedBits, bool closeEmpty);
    void newline(std::size_t depth);
    bool recordPart(const DerHeader& h);

    const unsigned char* m_data;
    std::size_t m_size;
    bool m_indent;
    ExtPtrArray* m_parts;
    std::vector<OpenValue> m_open;
    std::string m_out;
};

// The element name and kind a header is written under: the named type when the tag is one of
// them and its form (primitive or constructed) is the type's own, else the generic element.
const Asn1Type* namedTypeFor(const DerHeader& h) {
    if (h.tagClass != TagClass::Universal) return nullptr;
    const Asn1Type* t = detail::asn1TypeForTag(h.tagNumber);
    if (t == nullptr || h.constructed != (t->kind == Asn1Kind::Constructed)) return nullptr;
    return t;
}

void XmlWriter::newline(std::size_t depth) {
    if (!m_indent) return;
    if (!m_out.empty()) m_out.push_back('\n');
    m_out.append(2 * depth, ' ');
}

void XmlWriter::startTag(const char* name, const DerHeader& h, int unusedBits, bool closeEmpty) {
    newline(m_open.size());
    m_out.push_back('<');
    m_out += name;
    if (detail::asn1TypeForName(name) == nullptr) {
        m_out += " tag=\"" + std::to_string(h.tagNumber) + "\"";
        if (h.constructed) m_out += " constructed=\"true\"";
    }
    if (std::string(name) == "bits") m_out += " unused=\"" + std::to_string(unusedBits) + "\"";
    if (!h.nonMinimalLength.empty()) {
        m_out += " lengthOctets=\"";
        for (unsigned char b : h.nonMinimalLength) {
            m_out.push_back(kHex[b >> 4]);
            m_out.push_back(kHex[b & 0x0F]);
        }
        m_out += "\"";
    }
    m_out += closeEmpty ? "/>" : ">";
}

bool XmlWriter::recordPart(const DerHeader& h) {
    if (m_parts == nullptr || m_open.size() != 1) return true;
    DataBuffer* part = new (std::nothrow) DataBuffer();
    if (part == nullptr || !part->append(m_data + h.headerStart, h.contentEnd() - h.headerStart)) {
        delete part;
        return false;
    }
    return m_parts->appendObject(part);
}

// Writes a primitive value, or opens a constructed one.
bool XmlWriter::writeValue(const DerHeader& h, std::string& error) {
    if (!m_open.empty()) m_open.back().hasChildren = true;
    if (!recordPart(h)) {
        error = "out of memory";
        return false;
    }
    const Asn1Type* named = namedTypeFor(h);
    const char* name = named != nullptr ? named->name : detail::genericElementName(h.tagClass);
    if (h.constructed) {
        if (m_open.size() >= Asn1XmlConverter::kMaxDepth) {
            error =
                "nesting deeper than " + std::to_string(Asn1XmlConverter::kMaxDepth) + " levels";
            return false;
        }
        startTag(name, h, 0, false);
        m_open.push_back({h.contentEnd(), name});
        return true;
    }
    const unsigned char* content = m_data + h.contentStart;
    std::string text;
    int unusedBits = 0;
    Asn1Kind kind = named != nullptr ? named->kind : Asn1Kind::Base64;
    if (named != nullptr) {
        // Only a rendering that encodes back to the same octets is used.
        std::string again, why;
        const bool faithful =
            detail::renderAsn1Value(kind, content, h.contentLength, text, unusedBits) &&
            detail::encodeAsn1Value(kind, text, unusedBits, again, why) &&
            again.size() == h.contentLength &&
            again.compare(0, again.size(), reinterpret_cast<const char*>(content),
                          h.contentLength) == 0;
        if (!faithful) {
            name = detail::genericElementName(TagClass::Universal);
            kind = Asn1Kind::Base64;
        }
    }
    if (kind == Asn1Kind::Base64)
        detail::renderAsn1Value(kind, content, h.contentLength, text, unusedBits);
    const bool empty = text.empty();
    startTag(name, h, unusedBits, empty);
    if (!empty) {
        appendXmlEscaped(m_out, text, XmlEscape::Text);
        m_out += "</";
        m_out += name;
        m_out += ">";
    }
    return true;
}

bool XmlWriter::run(std::string& xml, std::string& error, std::size_t& errorOffset) {
    std::size_t pos = 0;
    bool rootDone = false;
    while (!rootDone) {
        while (!m_open.empty() && pos == m_open.back().end) {
            const OpenValue done = m_open.back();
            m_open.pop_back();
            if (done.hasChildren) newline(m_open.size());
            m_out += "</";
            m_out += done.name;
            m_out += ">";
            rootDone = m_open.empty();
        }
        if (rootDone) break;
        if (m_out.size() > Asn1XmlConverter::kMaxXmlBytes) {
            error = "XML rendering too large";
            errorOffset = pos;
            return false;
        }
        DerHeader h;
        const std::size_t limit = m_open.empty() ? m_size : m_open.back().end;
        if (!detail::readDerHeader(m_data, pos, limit, h, error) || !writeValue(h, error)) {
            errorOffset = pos;
            return false;
        }
        pos = h.constructed ? h.contentStart : h.contentEnd();
        rootDone = m_open.empty();
    }
    if (pos != m_size) {
        error = "bytes after the outermost value";
        errorOffset = pos;
        return false;
    }
    xml.swap(m_out);
    return true;
}

}  // namespace

bool Asn1XmlConverter::derToXml(const DataBuffer& der, bool indent, bool withDeclaration,
                                StringBuffer& xml, ExtPtrArray* parts, LogBase& log) {
    xml.clear();
    if (der.isEmpty() || der.getSize() > kMaxDerBytes) {
        log.LogError(der.isEmpty() ? "No DER to convert." : "DER is too large to convert.");
        log.LogDataLong("numBytes", static_cast<long>(der.getSize()));
        return false;
    }
    std::string body, error;
    std::size_t errorOffset = 0;
    try {
        XmlWriter writer(der, indent, parts);
        if (!writer.run(body, error, errorOffset)) {
            log.LogError("Malformed DER.");
            log.LogDataStr("reason", error.c_str());
            log.LogDataLong("offset", static_cast<long>(errorOffset));
            return false;
        }
    } catch (...) {
        log.LogError("Out of memory converting DER to XML.");
        return false;
    }
    if (withDeclaration) {
        xml.append("<?xml version=\"1.0\" encoding=\"utf-8\"?>");
        if (indent) xml.append("\n");
    }
    if (!xml.append(body)) {
        xml.clear();
        log.LogError("XML rendering too large.");
        return false;
    }
    return true;
}

}  // namespace xmldsig
