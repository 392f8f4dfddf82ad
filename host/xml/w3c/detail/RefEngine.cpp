// The general engine's processing of one reference: dereference the URI into a node-set (or
// take the external octets), run the transforms over node-sets and octets as XML Signature
// defines them, and canonicalize what is left.
#include <algorithm>
#include <cstring>
#include <memory>
#include <sstream>

#include "host/log/LogBase.h"
#include "host/log/LogContextExitor.h"
#include "host/text/ContentCoding.h"
#include "host/text/DataBuffer.h"
#include "host/xml/w3c/W3cEngine.h"
#include "host/xml/w3c/detail/Canon.h"
#include "host/xml/w3c/detail/W3cDoc.h"
#include "host/xml/w3c/detail/XPathRun.h"

namespace xmldsig::w3c {

namespace {

using detail::NodeSet;
using detail::W3cDoc;

constexpr int kMaxTransforms = 10;

struct Data {
    std::unique_ptr<NodeSet> set;  // a node-set, or else
    std::string octets;            // octets
};

bool startsWith(const std::string& s, const char* prefix) {
    return s.compare(0, std::strlen(prefix), prefix) == 0;
}

xmlNode* documentNode(xmlDoc* doc) {
    return reinterpret_cast<xmlNode*>(doc);
}

xmlNode* enclosingSignature(xmlNode* n) {
    for (; n != nullptr; n = n->parent)
        if (n->type == XML_ELEMENT_NODE &&
            (std::strcmp(reinterpret_cast<const char*>(n->name), "Signature") == 0 ||
             std::strcmp(reinterpret_cast<const char*>(n->name), "AuthSignature") == 0))
            return n;
    return nullptr;
}

class RefEngine {
  public:
    explicit RefEngine(LogBase& log) : m_log(log) {}

    bool run(const ReferenceInput& in, DataBuffer& out);

  private:
    bool dereference(const std::string& uri, xmlNode* reference, Data& d);
    bool applyTransform(xmlNode* transform, TransformInfo info, Data& d);
    bool needNodeSet(Data& d);
    bool xpathTransform(xmlNode* transform, Data& d);
    bool filter2Transform(xmlNode* transform, Data& d);
    bool canonTransform(xmlNode* transform, TransformInfo info, Data& d);
    bool base64Transform(Data& d);
    bool finish(Data& d, DataBuffer& out);
    std::size_t sizeOf(const xmlDoc* doc) const;

    LogBase& m_log;
    W3cDoc m_main;
    std::vector<std::unique_ptr<W3cDoc>> m_parsed;  // documents parsed from octets
};

bool RefEngine::run(const ReferenceInput& in, DataBuffer& out) {
    if (!m_main.parse(in.text, in.length, m_log)) return false;
    xmlNode* sig = m_main.signature(in.signatureIndex);
    xmlNode* ref = detail::childElement(detail::childElement(sig, "SignedInfo"), "Reference",
                                        in.referenceIndex);
    if (ref == nullptr) {
        m_log.LogError("The general engine found no such Reference.");
        return false;
    }
    std::string digestValue = detail::textOf(detail::childElement(ref, "DigestValue"));
    digestValue.erase(
        std::remove_if(digestValue.begin(), digestValue.end(),
                       [](char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }),
        digestValue.end());
    if (digestValue != in.expectedDigestValue) {
        m_log.LogError("The general engine found another Reference at this index.");
        return false;
    }
    Data d;
    if (in.externalOctets != nullptr) {
        d.octets.assign(reinterpret_cast<const char*>(in.externalOctets->getData2()),
                        in.externalOctets->getSize());
    } else if (!dereference(detail::attribute(ref, "URI"), ref, d)) {
        return false;
    }
    xmlNode* transforms = detail::childElement(ref, "Transforms");
    for (int i = 0;; ++i) {
        xmlNode* t = detail::childElement(transforms, "Transform", i);
        if (t == nullptr) break;
        if (i == kMaxTransforms) {
            m_log.LogError("Too many transforms in one reference.");
            return false;
        }
        const std::string algorithm = detail::attribute(t, "Algorithm");
        m_log.LogDataStr("transformAlgorithm", algorithm.c_str());
        if (!applyTransform(t, in.classify(algorithm.c_str()), d)) return false;
    }
    return finish(d, out);
}

std::size_t RefEngine::sizeOf(const xmlDoc* doc) const {
    for (const auto& parsed : m_parsed)
        if (parsed->doc() == doc) return parsed->size();
    return m_main.size();
}

bool RefEngine::dereference(const std::string& uri, xmlNode* reference, Data& d) {
    xmlDoc* doc = m_main.doc();
    if (uri.empty()) {
        d.set = std::make_unique<NodeSet>(doc, documentNode(doc), false);
        return true;
    }
    if (uri[0] != '#') {
        m_log.LogError("The general engine received an external reference without its data.");
        return false;
    }
    const std::string fragment = uri.substr(1);
    if (startsWith(fragment, "xpointer(") && fragment.back() == ')') {
        const std::string expr = fragment.substr(9, fragment.size() - 10);
        d.set = std::make_unique<NodeSet>(doc, documentNode(doc), true);  // comments kept
        if (expr == "/") return true;
        detail::XPathRun xpath(doc, nullptr, reference, m_main.size());
        detail::XPathResult r = xpath.nodes(expr, m_log);
        if (!r) return false;
        d.set->beginFilterSequence();
        d.set->addFilterStep(detail::SetOp::Intersect, r->nodesetval);
        return true;
    }
    xmlNode* element = m_main.elementById(fragment, m_log);
    if (element == nullptr) return false;
    d.set = std::make_unique<NodeSet>(doc, element, false);
    return true;
}

bool RefEngine::needNodeSet(Data& d) {
    if (d.set) return true;
    auto parsed = std::make_unique<W3cDoc>();
    if (!parsed->parse(d.octets.data(), d.octets.size(), m_log)) {
        m_log.LogError("The octets a transform needs as XML are not well-formed XML.");
        return false;
    }
    d.set = std::make_unique<NodeSet>(parsed->doc(), documentNode(parsed->doc()), true);
    d.octets.clear();
    m_parsed.push_back(std::move(parsed));
    return true;
}

bool RefEngine::applyTransform(xmlNode* transform, TransformInfo info, Data& d) {
    switch (info.kind) {
        case TransformKind::Enveloped:
            if (!needNodeSet(d)) return false;
            if (d.set->doc() == m_main.doc())
                if (xmlNode* sig = enclosingSignature(transform)) d.set->removeSubtree(sig);
            return true;
        case TransformKind::XPath:
            return needNodeSet(d) && xpathTransform(transform, d);
        case TransformKind::Filter2:
            return needNodeSet(d) && filter2Transform(transform, d);
        case TransformKind::C14n10:
        case TransformKind::Exclusive10:
        case TransformKind::C14n11:
            return needNodeSet(d) && canonTransform(transform, info, d);
        case TransformKind::Base64:
            return base64Transform(d);
        case TransformKind::Refused:
            m_log.LogError("XSLT transforms are never run by this verifier.");
            return false;
        default:
            m_log.LogError("The general engine does not know this transform.");
            return false;
    }
}

bool RefEngine::xpathTransform(xmlNode* transform, Data& d) {
    xmlNode* xp = detail::childElement(transform, "XPath");
    if (xp == nullptr) {
        m_log.LogError("No XPath found in transform.");
        return false;
    }
    const std::string expr = detail::textOf(xp);
    xmlNode* here = d.set->doc() == m_main.doc() ? xp : nullptr;
    detail::XPathRun xpath(d.set->doc(), here, xp, sizeOf(d.set->doc()));
    return xpath.narrowByTransform(expr, *d.set, m_log);
}

bool RefEngine::filter2Transform(xmlNode* transform, Data& d) {
    d.set->beginFilterSequence();
    int steps = 0;
    for (xmlNode* xp = transform->children; xp != nullptr; xp = xp->next) {
        if (xp->type != XML_ELEMENT_NODE ||
            std::strcmp(reinterpret_cast<const char*>(xp->name), "XPath") != 0)
            continue;
        const std::string filter = detail::attribute(xp, "Filter");
        detail::SetOp op;
        if (filter == "intersect") {
            op = detail::SetOp::Intersect;
        } else if (filter == "subtract") {
            op = detail::SetOp::Subtract;
        } else if (filter == "union") {
            op = detail::SetOp::Union;
        } else {
            m_log.LogError("An XPath Filter 2.0 step has no valid Filter attribute.");
            m_log.LogDataStr("filter", filter.c_str());
            return false;
        }
        xmlNode* here = d.set->doc() == m_main.doc() ? xp : nullptr;
        detail::XPathRun xpath(d.set->doc(), here, xp, sizeOf(d.set->doc()));
        detail::XPathResult r = xpath.nodes(detail::textOf(xp), m_log);
        if (!r) return false;
        d.set->addFilterStep(op, r->nodesetval);
        ++steps;
    }
    if (steps == 0) m_log.LogError("An XPath Filter 2.0 transform without XPath steps.");
    return steps != 0;
}

bool RefEngine::canonTransform(xmlNode* transform, TransformInfo info, Data& d) {
    const CanonMethod method = info.kind == TransformKind::Exclusive10 ? CanonMethod::Exclusive10
                               : info.kind == TransformKind::C14n11    ? CanonMethod::Inclusive11
                                                                       : CanonMethod::Inclusive10;
    std::vector<std::string> prefixes;
    if (method == CanonMethod::Exclusive10) {
        std::istringstream list(detail::attribute(
            detail::childElement(transform, "InclusiveNamespaces"), "PrefixList"));
        for (std::string p; list >> p;) prefixes.push_back(p);
    }
    std::string out;
    if (!detail::canonicalizeNodeSet(*d.set, method, info.withComments, prefixes, out, m_log))
        return false;
    d.set.reset();
    d.octets.swap(out);
    return true;
}

bool RefEngine::base64Transform(Data& d) {
    std::string text;
    if (d.set) {
        // The string value of the node-set: its text nodes in document order.
        xmlNode* top = documentNode(d.set->doc());
        for (xmlNode* n = top->children; n != nullptr; n = detail::nextInTree(n, top))
            if ((n->type == XML_TEXT_NODE || n->type == XML_CDATA_SECTION_NODE) &&
                d.set->contains(n, n->parent) && n->content != nullptr)
                text.append(reinterpret_cast<const char*>(n->content));
        d.set.reset();
    } else {
        text.swap(d.octets);
    }
    DataBuffer decoded;
    if (!ContentCoding::decodeBase64ToDb(text.data(), text.size(), decoded)) {
        m_log.LogError("base64 decoding failed.  Maybe this was not actually base64?");
        return false;
    }
    d.octets.assign(reinterpret_cast<const char*>(decoded.getData2()), decoded.getSize());
    return true;
}

bool RefEngine::finish(Data& d, DataBuffer& out) {
    if (d.set) {
        std::string canonical;
        if (!detail::canonicalizeNodeSet(*d.set, CanonMethod::Inclusive10, false, {}, canonical,
                                         m_log))
            return false;
        d.octets.swap(canonical);
    }
    out.clear();
    out.append(d.octets.data(), d.octets.size());
    return true;
}

}  // namespace

bool referenceOctets(const ReferenceInput& in, DataBuffer& out, LogBase& log) {
    LogContextExitor ctx(log, "generalEngine");
    if (in.classify == nullptr) return false;
    RefEngine engine(log);
    return engine.run(in, out);
}

}  // namespace xmldsig::w3c
