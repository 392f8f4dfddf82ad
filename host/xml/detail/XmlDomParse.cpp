// Builds a dom::Document from UTF-8 text with expat. The parser is hardened before the first
// byte: entity amplification is capped, parameter entities and external entities are never
// read, and our own limits on depth, attribute count and node count stop it with a message.
#include <climits>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <vector>

#include "host/xml/detail/ExpatHandle.h"
#include "host/xml/detail/XmlDom.h"

namespace xmldsig::dom {
namespace {

struct BuildState {
    XML_Parser parser = nullptr;
    Document* doc = nullptr;
    std::string_view text;
    const ParseLimits* limits = nullptr;
    Node* current = nullptr;  // the open element (or the document node)
    // The last child of each open element, by depth (the document node at 0).
    std::vector<Node*> lastChild;
    // Character data of the text node being built: a view of the text while every piece is
    // the text's own bytes, contiguous; otherwise a decoded copy in pendingCopy.
    Node* pendingText = nullptr;
    std::string_view pendingView;
    bool pendingCopied = false;
    std::string pendingCopy;
    bool inDtd = false;
    bool stopped = false;  // one of our limits stopped the parse
    std::string stopMessage;
    uint64_t stopOffset = 0;
};

BuildState& stateOf(void* userData) {
    return *static_cast<BuildState*>(userData);
}

void stop(BuildState& st, std::string message) {
    if (st.stopped) return;
    st.stopped = true;
    st.stopMessage = std::move(message);
    const XML_Index at = XML_GetCurrentByteIndex(st.parser);
    st.stopOffset = at < 0 ? 0 : static_cast<uint64_t>(at);
    XML_StopParser(st.parser, XML_FALSE);
}

// The text node being built is complete: a decoded copy moves into the document's arena.
void finishText(BuildState& st) {
    if (st.pendingText == nullptr) return;
    st.pendingText->value = st.pendingCopied ? st.doc->storeString(st.pendingCopy) : st.pendingView;
    st.pendingText = nullptr;
    st.pendingCopied = false;
    st.pendingCopy.clear();
}

// A node is added only while the node budget allows; otherwise the parse stops.
Node* addNode(BuildState& st, NodeType type) {
    if (st.doc->nodeCount() >= st.limits->maxNodes) {
        stop(st,
             "too many nodes: the document has more than " + std::to_string(st.limits->maxNodes));
        return nullptr;
    }
    Node* n = st.doc->newNode(type);
    Node* parent = st.current;
    n->parent = parent;
    n->depth = parent->depth + 1;
    Node*& last = st.lastChild[parent->depth];
    if (last != nullptr) {
        last->nextSibling = n;
    } else {
        parent->firstChild = n;
    }
    last = n;
    return n;
}

// s, when the text holds exactly these bytes in [begin, end): then a view of the text serves.
std::string_view inText(const BuildState& st, uint64_t begin, uint64_t end, const char* s,
                        std::size_t len) {
    if (end > st.text.size() || end - begin != len ||
        std::memcmp(st.text.data() + begin, s, len) != 0) {
        return {};
    }
    return st.text.substr(begin, len);
}

// The current event's byte range in the text; false when the event is not a tag in the text
// itself (an element from an entity's replacement text reports the reference's range).
bool eventRange(const BuildState& st, uint32_t& begin, uint32_t& end) {
    const XML_Index at = XML_GetCurrentByteIndex(st.parser);
    const int count = XML_GetCurrentByteCount(st.parser);
    const uint64_t b = at < 0 ? 0 : static_cast<uint64_t>(at);
    const uint64_t e = b + (count < 0 ? 0 : static_cast<uint64_t>(count));
    begin = static_cast<uint32_t>(std::min<uint64_t>(b, st.text.size()));
    end = static_cast<uint32_t>(std::min<uint64_t>(e, st.text.size()));
    return begin < st.text.size() && st.text[begin] == '<';
}

bool isXmlSpace(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

// Reads the next attribute of a start tag from pos (which it advances): its name and the value
// between the quotes, as written. False at the end of the tag.
bool nextRawAttribute(std::string_view tag, std::size_t& pos, std::string_view& name,
                      std::string_view& value) {
    while (pos < tag.size() && isXmlSpace(tag[pos])) ++pos;
    const std::size_t nameStart = pos;
    while (pos < tag.size() && tag[pos] != '=' && !isXmlSpace(tag[pos]) && tag[pos] != '>' &&
           tag[pos] != '/') {
        ++pos;
    }
    if (pos == nameStart) return false;
    name = tag.substr(nameStart, pos - nameStart);
    while (pos < tag.size() && tag[pos] != '"' && tag[pos] != '\'') ++pos;
    if (pos >= tag.size()) return false;
    const std::size_t close = tag.find(tag[pos], pos + 1);
    if (close == std::string_view::npos) return false;
    value = tag.substr(pos + 1, close - pos - 1);
    pos = close + 1;
    return true;
}

// The element's name and attributes point into the text where the start tag there holds them
// byte for byte; a value that normalization or a reference changed, a default value from the
// internal subset, or a tag from an entity's replacement text gets a copy.
void setNameAndAttributes(BuildState& st, Node& n, const XML_Char* name, const XML_Char** atts,
                          std::size_t count, std::size_t specified) {
    Document& doc = *st.doc;
    const std::string_view tag =
        n.fromEntity ? std::string_view() : st.text.substr(n.start, n.startTagEnd - n.start);
    const std::size_t nameLen = std::strlen(name);
    const bool nameInText = tag.size() > nameLen + 1 && tag.compare(1, nameLen, name) == 0;
    n.name = nameInText ? tag.substr(1, nameLen) : doc.storeString(name);
    Attribute* out = doc.newAttributes(n, count);
    std::size_t pos = nameInText ? nameLen + 1 : tag.size();
    for (std::size_t i = 0; i < count; ++i) {
        const std::string_view wantName = atts[2 * i];
        const std::string_view wantValue = atts[2 * i + 1];
        std::string_view rawName, rawValue;
        const bool raw = i < specified && nextRawAttribute(tag, pos, rawName, rawValue);
        out[i].name = raw && rawName == wantName ? rawName : doc.storeString(wantName);
        out[i].value = raw && rawValue == wantValue ? rawValue : doc.storeString(wantValue);
        out[i].specified = i < specified;
    }
}

// expat is C: nothing may unwind through it. Each handler body runs here, and an allocation
// failure stops the parse with a message instead of throwing.
template <class Body>
void guarded(void* ud, Body&& body) {
    BuildState& st = stateOf(ud);
    if (st.stopped) return;
    try {
        body(st);
    } catch (const std::bad_alloc&) {
        stop(st, "out of memory");
    } catch (...) {
        stop(st, "internal error");
    }
}

void XMLCALL onStart(void* ud, const XML_Char* name, const XML_Char** atts) {
    guarded(ud, [&](BuildState& st) {
        if (st.current->depth + 1 > st.limits->maxDepth) {
            stop(st,
                 "elements nested deeper than " + std::to_string(st.limits->maxDepth) + " levels");
            return;
        }
        std::size_t count = 0;
        while (atts[count] != nullptr) count += 2;
        if (count / 2 > st.limits->maxAttributes) {
            stop(st, "too many attributes on element <" + std::string(name) + ">: more than " +
                         std::to_string(st.limits->maxAttributes));
            return;
        }
        finishText(st);
        Node* n = addNode(st, NodeType::Element);
        if (n == nullptr) return;
        uint32_t b = 0, e = 0;
        n->fromEntity = !eventRange(st, b, e);
        n->start = b;
        n->startTagEnd = e;
        n->endTagStart = e;
        n->end = e;
        const std::size_t specified =
            static_cast<std::size_t>(XML_GetSpecifiedAttributeCount(st.parser));
        setNameAndAttributes(st, *n, name, atts, count / 2, specified / 2);
        st.current = n;
        if (st.lastChild.size() <= n->depth) st.lastChild.resize(n->depth + 1);
        st.lastChild[n->depth] = nullptr;
    });
}

void XMLCALL onEnd(void* ud, const XML_Char*) {
    guarded(ud, [&](BuildState& st) {
        finishText(st);
        Node* n = st.current;
        uint32_t b = 0, e = 0;
        if (!n->fromEntity) {
            eventRange(st, b, e);
            // An empty-element tag reports a zero-length end event just past its "/>".
            n->endTagStart = b;
            n->end = e;
        }
        st.current = n->parent;
    });
}

void XMLCALL onText(void* ud, const XML_Char* s, int len) {
    guarded(ud, [&](BuildState& st) {
        if (len <= 0) return;
        const std::size_t n = static_cast<std::size_t>(len);
        const XML_Index at = XML_GetCurrentByteIndex(st.parser);
        const int count = XML_GetCurrentByteCount(st.parser);
        const std::string_view raw =
            at < 0 || count < 0
                ? std::string_view()
                : inText(st, static_cast<uint64_t>(at),
                         static_cast<uint64_t>(at) + static_cast<uint64_t>(count), s, n);
        if (st.pendingText == nullptr) {
            st.pendingText = addNode(st, NodeType::Text);
            if (st.pendingText == nullptr) return;
            st.pendingView = {};
        }
        if (!st.pendingCopied && !raw.empty() &&
            (st.pendingView.empty() ||
             st.pendingView.data() + st.pendingView.size() == raw.data())) {
            st.pendingView =
                std::string_view(st.pendingView.empty() ? raw.data() : st.pendingView.data(),
                                 st.pendingView.size() + raw.size());
            return;
        }
        if (!st.pendingCopied) {
            st.pendingCopy.assign(st.pendingView);
            st.pendingCopied = true;
        }
        st.pendingCopy.append(s, n);
    });
}

void XMLCALL onComment(void* ud, const XML_Char* data) {
    guarded(ud, [&](BuildState& st) {
        if (st.inDtd) return;
        finishText(st);
        if (Node* n = addNode(st, NodeType::Comment)) n->value = st.doc->storeString(data);
    });
}

void XMLCALL onPi(void* ud, const XML_Char* target, const XML_Char* data) {
    guarded(ud, [&](BuildState& st) {
        if (st.inDtd) return;
        finishText(st);
        if (Node* n = addNode(st, NodeType::ProcessingInstruction)) {
            n->name = st.doc->storeString(target);
            n->value = st.doc->storeString(data ? data : "");
        }
    });
}

void XMLCALL onDoctypeStart(void* ud, const XML_Char*, const XML_Char*, const XML_Char*, int) {
    BuildState& st = stateOf(ud);
    st.inDtd = true;
    st.doc->setHadDoctype(true);
}

void XMLCALL onDoctypeEnd(void* ud) {
    stateOf(ud).inDtd = false;
}

// An entity reference that expat could not resolve from the internal subset (the document has
// an external subset we never read). Its replacement text is unknown, so the tree would be wrong.
void XMLCALL onSkippedEntity(void* ud, const XML_Char* name, int isParameter) {
    if (isParameter) return;  // parameter entities are never parsed; nothing is lost in content
    guarded(ud, [&](BuildState& st) {
        stop(st, std::string("reference to entity '") + name +
                     "' that is not declared in the internal subset (external declarations are "
                     "never read)");
    });
}

// External parsed entities are refused outright: the document may not make us open files.
int XMLCALL onExternalEntity(XML_Parser p, const XML_Char*, const XML_Char*,
                             const XML_Char* systemId, const XML_Char*) {
    guarded(XML_GetUserData(p), [&](BuildState& st) {
        stop(st, std::string("reference to an external entity (") + (systemId ? systemId : "") +
                     "): external entities are never loaded");
    });
    return XML_STATUS_ERROR;
}

bool configure(XML_Parser p, BuildState& st, const ParseLimits& limits) {
    XML_SetUserData(p, &st);
    XML_SetElementHandler(p, onStart, onEnd);
    XML_SetCharacterDataHandler(p, onText);
    XML_SetCommentHandler(p, onComment);
    XML_SetProcessingInstructionHandler(p, onPi);
    XML_SetDoctypeDeclHandler(p, onDoctypeStart, onDoctypeEnd);
    XML_SetSkippedEntityHandler(p, onSkippedEntity);
    XML_SetExternalEntityRefHandler(p, onExternalEntity);
    XML_SetParamEntityParsing(p, XML_PARAM_ENTITY_PARSING_NEVER);
    bool ok = XML_SetBillionLaughsAttackProtectionMaximumAmplification(
                  p, limits.maxEntityAmplification) == XML_TRUE;
    ok = ok && XML_SetBillionLaughsAttackProtectionActivationThreshold(
                   p, limits.amplificationThreshold) == XML_TRUE;
#if XML_MAJOR_VERSION > 2 ||   \
    (XML_MAJOR_VERSION == 2 && \
     (XML_MINOR_VERSION > 7 || (XML_MINOR_VERSION == 7 && XML_MICRO_VERSION >= 2)))
    ok =
        ok && XML_SetAllocTrackerMaximumAmplification(p, limits.maxEntityAmplification) == XML_TRUE;
    ok = ok && XML_SetAllocTrackerActivationThreshold(p, limits.amplificationThreshold) == XML_TRUE;
#endif
    return ok;
}

ParseResult failure(std::string message, uint64_t offset, uint64_t line, uint64_t column) {
    ParseResult r;
    r.message = std::move(message);
    r.byteOffset = offset;
    r.line = line;
    r.column = column;
    return r;
}

}  // namespace

ParseResult Document::parse(std::string_view input, const ParseLimits& limits) {
    // Offsets are 32-bit; a larger text could not be addressed.
    if (input.size() >= std::numeric_limits<uint32_t>::max()) {
        reset();
        return failure("document too large: " + std::to_string(input.size()) + " bytes", 0, 0, 0);
    }
    std::string copy(input);  // input may be a view of this document's own text
    reset();
    m_text = std::move(copy);
    const std::string_view utf8 = m_text;
    detail::ExpatPtr parser(XML_ParserCreate("UTF-8"));
    if (!parser) return failure("could not create the XML parser", 0, 0, 0);

    BuildState st;
    st.parser = parser.get();
    st.doc = this;
    st.text = utf8;
    st.limits = &limits;
    st.current = documentNode();
    st.lastChild.assign(1, nullptr);
    if (!configure(parser.get(), st, limits)) {
        return failure("could not set the entity amplification limits (factor must be >= 1)", 0, 0,
                       0);
    }

    // Feed in pieces that fit expat's int length; byte indexes stay cumulative.
    constexpr std::size_t kChunk = 1u << 30;
    std::size_t pos = 0;
    XML_Status status = XML_STATUS_OK;
    do {
        const std::size_t n = std::min(kChunk, utf8.size() - pos);
        const bool last = pos + n == utf8.size();
        status = XML_Parse(parser.get(), utf8.data() + pos, static_cast<int>(n), last);
        pos += n;
    } while (status == XML_STATUS_OK && pos < utf8.size());
    finishText(st);

    const bool rootComplete = st.current == documentNode() && rootElement() != nullptr;
    if (!st.stopped && (status == XML_STATUS_OK ||
                        (limits.allowTrailingAfterRoot && rootComplete &&
                         XML_GetCurrentByteIndex(parser.get()) >= rootElement()->end))) {
        ParseResult ok;
        ok.ok = true;
        return ok;
    }
    const uint64_t line = XML_GetCurrentLineNumber(parser.get());
    const uint64_t column = XML_GetCurrentColumnNumber(parser.get()) + 1;
    ParseResult r;
    if (st.stopped) {
        r = failure(st.stopMessage, st.stopOffset, line, column);
    } else {
        const XML_Index at = XML_GetCurrentByteIndex(parser.get());
        r = failure(XML_ErrorString(XML_GetErrorCode(parser.get())),
                    at < 0 ? 0 : static_cast<uint64_t>(at), line, column);
    }
    reset();  // a failed parse leaves no half-built tree behind
    return r;
}

}  // namespace xmldsig::dom
