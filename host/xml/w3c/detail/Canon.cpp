#include "host/xml/w3c/detail/Canon.h"

#include <libxml/c14n.h>

#include "host/log/LogBase.h"

namespace xmldsig::w3c::detail {

namespace {

int isVisible(void* userData, xmlNode* node, xmlNode* parent) {
    return static_cast<const NodeSet*>(userData)->contains(node, parent) ? 1 : 0;
}

int modeOf(CanonMethod m) {
    switch (m) {
        case CanonMethod::Exclusive10:
            return XML_C14N_EXCLUSIVE_1_0;
        case CanonMethod::Inclusive11:
            return XML_C14N_1_1;
        default:
            return XML_C14N_1_0;
    }
}

}  // namespace

bool canonicalizeNodeSet(const NodeSet& set, CanonMethod method, bool withComments,
                         const std::vector<std::string>& inclusivePrefixes, std::string& out,
                         LogBase& log) {
    std::vector<xmlChar*> prefixes;
    if (method == CanonMethod::Exclusive10) {
        for (const std::string& p : inclusivePrefixes)
            prefixes.push_back(const_cast<xmlChar*>(reinterpret_cast<const xmlChar*>(p.c_str())));
    }
    prefixes.push_back(nullptr);
    xmlOutputBuffer* buf = xmlAllocOutputBuffer(nullptr);
    if (buf == nullptr) return false;
    const int rc =
        xmlC14NExecute(set.doc(), isVisible, const_cast<NodeSet*>(&set), modeOf(method),
                       prefixes.size() > 1 ? prefixes.data() : nullptr, withComments ? 1 : 0, buf);
    if (rc >= 0) {
        const xmlChar* content = xmlOutputBufferGetContent(buf);
        out.assign(reinterpret_cast<const char*>(content), xmlOutputBufferGetSize(buf));
    }
    xmlOutputBufferClose(buf);
    if (rc < 0) {
        log.LogError("The general engine could not canonicalize the node-set.");
        return false;
    }
    return true;
}

}  // namespace xmldsig::w3c::detail
