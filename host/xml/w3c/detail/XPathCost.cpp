#include "host/xml/w3c/detail/XPathCost.h"

#include <algorithm>
#include <cctype>
#include <vector>

namespace xmldsig::w3c::detail {

namespace {

bool isElement(const xmlNode* n) {
    return n->type == XML_ELEMENT_NODE;
}

xmlNode* nextElementSibling(xmlNode* n) {
    for (n = n->next; n != nullptr; n = n->next)
        if (isElement(n)) return n;
    return nullptr;
}

// Counts one element's attributes, declarations and non-element children into the shape; returns
// its first child element.
xmlNode* visit(xmlNode* e, double inheritedScope, double depth, DocShape& s, double& scope) {
    scope = inheritedScope;
    for (xmlNs* ns = e->nsDef; ns != nullptr; ns = ns->next) ++scope;
    s.namespaceNodes += scope;
    double attributes = 0, children = 0;
    for (xmlAttr* a = e->properties; a != nullptr; a = a->next, ++attributes)
        s.named["@" + std::string(reinterpret_cast<const char*>(a->name))] += 1;
    s.named[reinterpret_cast<const char*>(e->name)] += 1;
    xmlNode* first = nullptr;
    for (xmlNode* c = e->children; c != nullptr; c = c->next, ++children) {
        if (!isElement(c))
            s.nodes += 1;
        else if (first == nullptr)
            first = c;
    }
    s.nodes += 1 + attributes;
    s.attributes = std::max(s.attributes, attributes);
    s.fanout = std::max(s.fanout, children);
    s.depth = std::max(s.depth, depth);
    return first;
}

bool nameStart(char c) {
    return std::isalpha(static_cast<unsigned char>(c)) || c == '_';
}
bool nameChar(char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-' || c == '.';
}

enum class Bracket { Top, Predicate, Group, NodeTest };

struct Frame {
    Bracket kind;
    double base;           // how often this bracket's content is evaluated
    double path = 1;       // nodes the current location path reaches, per evaluation
    double widest = 1;     // the largest path of this bracket: the size of a group's value
    bool inPath = false;   // a step or primary expression of the current path has been read
    double unionLeft = 0;  // nodes of the paths before a '|': libxml2 merges unions pairwise
};

// Walks the expression token by token, keeping for each open bracket how often it is evaluated.
class Estimate {
  public:
    Estimate(const std::string& expr, const DocShape& shape) : m_e(expr), m_s(shape) {
        m_frames.push_back({Bracket::Top, 1});
    }

    double run() {
        for (std::size_t i = 0; i < m_e.size();) i = token(i);
        while (m_frames.size() > 1) close();
        finishPath(false);
        return m_work;
    }

  private:
    Frame& top() { return m_frames.back(); }
    void note(double work) { m_work = std::max(m_work, work); }

    void step(double factor) {
        Frame& f = top();
        f.path = std::min(m_s.nodes, f.path * factor);
        f.inPath = true;
        f.widest = std::max(f.widest, f.path);
        note(f.base * f.path);
    }

    // Merging a union compares every node of one side with every node of the other.
    void finishPath(bool beforeUnion) {
        Frame& f = top();
        const double path = f.inPath ? f.path : 1;
        if (f.unionLeft > 0) note(f.base * f.unionLeft * path);
        const double merged = std::min(m_s.nodes, f.unionLeft + path);
        f.widest = std::max(f.widest, merged);
        f.unionLeft = beforeUnion ? merged : 0;
    }

    // An operator or separator: the next location path starts afresh.
    void endPath(bool beforeUnion = false) {
        finishPath(beforeUnion);
        top().path = 1;
        top().inPath = false;
        m_operand = m_afterSlash = m_testPending = false;
        m_testOn = TestOn::Elements;
    }

    double axisFactor(const std::string& axis) const {
        if (axis == "descendant" || axis == "descendant-or-self" || axis == "following" ||
            axis == "preceding")
            return m_s.nodes;
        if (axis == "ancestor" || axis == "ancestor-or-self") return m_s.depth;
        if (axis == "attribute") return m_s.attributes;
        if (axis == "self" || axis == "parent" || axis == "namespace")
            return 1;       // namespace nodes are bounded in total by XPathRun
        return m_s.fanout;  // child and the sibling axes
    }

    // A name test or node-type test: the child axis unless an axis or '@' came before it.
    // A name test narrows the step's node-set to the nodes of that name.
    void nodeTest(const std::string& test) {
        if (!m_testPending) step(m_s.fanout);
        const std::size_t colon = test.find(':');
        const std::string local = colon == std::string::npos ? test : test.substr(colon + 1);
        if (!local.empty() && local != "*" && m_testOn != TestOn::Namespaces) {
            const auto it = m_s.named.find((m_testOn == TestOn::Attributes ? "@" : "") + local);
            top().path = std::min(top().path, it == m_s.named.end() ? 0.0 : it->second);
        }
        m_testPending = m_afterSlash = false;
        m_testOn = TestOn::Elements;
        m_operand = true;
    }

    void open(Bracket kind) {
        Frame& f = top();
        double base = f.base;
        if (kind == Bracket::Predicate) base *= f.inPath ? f.path : m_s.fanout;
        note(base);
        m_frames.push_back({kind, base});
        m_operand = m_afterSlash = m_testPending = false;
    }

    void close() {
        if (m_frames.size() == 1) return;  // unbalanced: libxml2 refuses the expression
        finishPath(false);
        const Frame inner = m_frames.back();
        m_frames.pop_back();
        if (inner.kind == Bracket::Group) {
            top().path = std::max(top().inPath ? top().path : 1.0, inner.widest);
            top().inPath = true;
        }
        m_operand = true;
        m_afterSlash = m_testPending = false;
    }

    std::size_t name(std::size_t i) {
        std::size_t j = i;
        while (j < m_e.size() &&
               (nameChar(m_e[j]) || (m_e[j] == ':' && j + 1 < m_e.size() && m_e[j + 1] != ':')))
            ++j;
        const std::string word = m_e.substr(i, j - i);
        std::size_t k = j;
        while (k < m_e.size() && std::isspace(static_cast<unsigned char>(m_e[k]))) ++k;
        if (m_e.compare(k, 2, "::") == 0) {
            step(axisFactor(word));
            m_testPending = true;
            m_testOn = word == "attribute"   ? TestOn::Attributes
                       : word == "namespace" ? TestOn::Namespaces
                                             : TestOn::Elements;
            m_operand = m_afterSlash = false;
            return k + 2;
        }
        if (k < m_e.size() && m_e[k] == '(') {
            const bool typeTest = word == "node" || word == "text" || word == "comment" ||
                                  word == "processing-instruction";
            if (typeTest) nodeTest("");
            open(typeTest ? Bracket::NodeTest : Bracket::Group);
            return k + 1;
        }
        const bool operatorName = word == "and" || word == "or" || word == "div" || word == "mod";
        if (operatorName && m_operand && !m_testPending && !m_afterSlash)
            endPath();
        else
            nodeTest(word);
        return j;
    }

    std::size_t token(std::size_t i) {
        const char c = m_e[i];
        const char next = i + 1 < m_e.size() ? m_e[i + 1] : '\0';
        if (std::isspace(static_cast<unsigned char>(c))) return i + 1;
        if (c == '"' || c == '\'') {
            const std::size_t end = m_e.find(c, i + 1);
            m_operand = true;
            return end == std::string::npos ? m_e.size() : end + 1;
        }
        if (nameStart(c)) return name(i);
        if (std::isdigit(static_cast<unsigned char>(c)) ||
            (c == '.' && std::isdigit(static_cast<unsigned char>(next)))) {
            while (i < m_e.size() &&
                   (std::isdigit(static_cast<unsigned char>(m_e[i])) || m_e[i] == '.'))
                ++i;
            m_operand = true;
            return i;
        }
        switch (c) {
            case '/':
                if (!top().inPath) top().inPath = true;  // absolute: from the root
                if (next == '/') step(m_s.nodes);
                m_afterSlash = true;
                m_operand = m_testPending = false;
                return i + (next == '/' ? 2 : 1);
            case '[':
                open(Bracket::Predicate);
                return i + 1;
            case '(':
                open(Bracket::Group);
                return i + 1;
            case ')':
            case ']':
                close();
                return i + 1;
            case '@':
                step(m_s.attributes);
                m_testPending = true;
                m_testOn = TestOn::Attributes;
                m_afterSlash = false;
                return i + 1;
            case '.':
                step(1);
                m_operand = true;
                m_afterSlash = false;
                return i + (next == '.' ? 2 : 1);
            case '*':
                if (m_operand && !m_testPending && !m_afterSlash)
                    endPath();  // multiplication
                else
                    nodeTest("*");
                return i + 1;
            case '$':
                ++i;
                while (i < m_e.size() && (nameChar(m_e[i]) || m_e[i] == ':')) ++i;
                top().inPath = m_operand = true;
                return i;
            default:
                endPath(c == '|');
                return i + 1;  // | , = ! < > + -
        }
    }

    const std::string& m_e;
    const DocShape& m_s;
    std::vector<Frame> m_frames;
    double m_work = 1;
    bool m_operand = false;      // the previous token ends an operand: '*' multiplies, 'and' joins
    bool m_afterSlash = false;   // a step must follow
    bool m_testPending = false;  // an axis or '@' was read; its node test follows
    enum class TestOn { Elements, Attributes, Namespaces };
    TestOn m_testOn = TestOn::Elements;  // what the pending node test names
};

}  // namespace

DocShape shapeOf(xmlDoc* doc) {
    DocShape s;
    xmlNode* top = xmlDocGetRootElement(doc);
    if (top == nullptr) return s;
    for (xmlNode* c = reinterpret_cast<xmlNode*>(doc)->children; c != nullptr; c = c->next)
        s.nodes += isElement(c) ? 0 : 1;
    // Iterative walk: scopes[d] is the in-scope declaration count of the element at depth d
    // (the xml namespace is always in scope), so deep documents cannot exhaust the stack.
    std::vector<double> scopes{1};
    xmlNode* n = top;
    while (n != nullptr) {
        double scope = 0;
        xmlNode* child = visit(n, scopes.back(), static_cast<double>(scopes.size()), s, scope);
        if (child != nullptr) {
            scopes.push_back(scope);
            n = child;
            continue;
        }
        while (n != top) {
            if (xmlNode* sibling = nextElementSibling(n)) {
                n = sibling;
                break;
            }
            n = n->parent;
            scopes.pop_back();
        }
        if (n == top) break;
    }
    return s;
}

double estimatedWork(const std::string& expr, const DocShape& shape) {
    return Estimate(expr, shape).run();
}

}  // namespace xmldsig::w3c::detail
