#include "host/xml/detail/TagPath.h"

#include <limits>

namespace xmldsig::detail {

namespace {

std::string_view localPart(std::string_view qname) {
    const std::size_t colon = qname.find(':');
    return colon == std::string_view::npos ? qname : qname.substr(colon + 1);
}

// Reads the "[...]" selector at the end of a step, if any.
bool splitSelector(std::string_view step, int iValue, PathStep& out) {
    out.tag = step;
    out.index = 0;
    if (step.empty() || step.back() != ']') return !step.empty();
    const std::size_t open = step.rfind('[');
    if (open == std::string_view::npos || open == 0) return false;
    const std::string_view sel = step.substr(open + 1, step.size() - open - 2);
    out.tag = step.substr(0, open);
    if (sel == "i") {
        out.index = iValue;
        return iValue >= 0;
    }
    if (sel.empty() || sel.size() > 9) return false;
    int n = 0;
    for (char c : sel) {
        if (c < '0' || c > '9') return false;
        n = n * 10 + (c - '0');
    }
    out.index = n;
    return true;
}

}  // namespace

bool tagMatches(std::string_view pattern, std::string_view qname) {
    if (pattern == "*") return true;
    if (pattern.size() > 2 && pattern[0] == '*' && pattern[1] == ':') {
        return localPart(qname) == pattern.substr(2);
    }
    return pattern == qname;
}

bool parseTagPath(std::string_view path, int iValue, std::vector<PathStep>& steps) {
    steps.clear();
    if (path.empty()) return false;
    std::size_t pos = 0;
    for (;;) {
        const std::size_t bar = path.find('|', pos);
        const std::string_view step =
            path.substr(pos, bar == std::string_view::npos ? std::string_view::npos : bar - pos);
        PathStep parsed;
        if (!splitSelector(step, iValue, parsed)) return false;
        steps.push_back(parsed);
        if (bar == std::string_view::npos) return true;
        pos = bar + 1;
    }
}

const dom::Node* nthChildWithTag(const dom::Node& parent, std::string_view tag, int index) {
    if (index < 0) return nullptr;
    for (const dom::Node* c = parent.firstChildElement(); c; c = c->nextSiblingElement()) {
        if (tagMatches(tag, c->name) && index-- == 0) return c;
    }
    return nullptr;
}

int countChildrenWithTag(const dom::Node& parent, std::string_view tag) {
    int n = 0;
    for (const dom::Node* c = parent.firstChildElement(); c; c = c->nextSiblingElement()) {
        if (tagMatches(tag, c->name) && n < std::numeric_limits<int>::max()) ++n;
    }
    return n;
}

const dom::Node* followTagPath(const dom::Node& start, std::string_view path, int iValue) {
    std::vector<PathStep> steps;
    if (!parseTagPath(path, iValue, steps)) return nullptr;
    const dom::Node* n = &start;
    for (const PathStep& s : steps) {
        n = nthChildWithTag(*n, s.tag, s.index);
        if (n == nullptr) return nullptr;
    }
    return n;
}

const dom::Attribute* findAttributeMatching(const dom::Node& element, std::string_view pattern) {
    for (const dom::Attribute& a : element.attributes) {
        if (tagMatches(pattern, a.name)) return &a;
    }
    return nullptr;
}

}  // namespace xmldsig::detail
