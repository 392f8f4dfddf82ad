// Removal of the SOAP header elements addressed to the next SOAP node: an ebXML message
// handler processes and drops them before the receiver checks the signature, so the signer
// digested the message without them.
#include <cstddef>
#include <string>
#include <string_view>

#include "dsig/DSigReference.h"
#include "host/log/LogBase.h"
#include "host/log/LogContextExitor.h"

namespace xmldsig {

namespace {

constexpr std::string_view kSoapNextActor = "actor=\"http://schemas.xmlsoap.org/soap/actor/next\"";
constexpr std::string_view kEbXmlNextActor = "actor=\"urn:oasis:names:tc:ebxml-msg:actor:nextMSH\"";
constexpr int kMaxRemovals = 13;

// The next next-actor attribute at or after from (SOAP form first, then the ebXML one).
std::size_t findNextActor(const std::string& text, std::size_t from) {
    const std::size_t soap = text.find(kSoapNextActor, from);
    return soap != std::string::npos ? soap : text.find(kEbXmlNextActor, from);
}

enum class TagStart { Found, NotInTag, None };

// Walks back from the attribute to the '<' of the tag holding it, never down to scanFrom.
TagStart findTagStart(const std::string& text, std::size_t match, std::size_t scanFrom,
                      std::size_t& lt) {
    for (std::size_t i = match; i > scanFrom + 1;) {
        --i;
        if (text[i] == '<') {
            lt = i;
            return TagStart::Found;
        }
        if (text[i] == '>') return TagStart::NotInTag;
    }
    return TagStart::None;
}

// The end (exclusive) of the element whose start tag begins at lt: through the '>' after the
// first end tag of that name. npos when it cannot be found.
std::size_t elementEnd(const std::string& text, std::size_t lt) {
    const std::size_t nameEnd = text.find_first_of(" \t>", lt + 1);
    if (nameEnd == std::string::npos) return std::string::npos;
    const std::string endTag = "</" + text.substr(lt + 1, nameEnd - lt - 1);
    const std::size_t close = text.find(endTag, lt);
    if (close == std::string::npos) return std::string::npos;
    const std::size_t gt = text.find('>', close);
    return gt == std::string::npos ? gt : gt + 1;
}

}  // namespace

void DSigReference::removeEbXmlFragments(StringBuffer& xml, LogBase& log) {
    LogContextExitor ctx(log, "removeEbXmlFragments");
    std::string& text = xml.str();
    std::size_t scanFrom = 0;
    int removed = 0;
    while (removed < kMaxRemovals) {
        const std::size_t match = findNextActor(text, scanFrom);
        if (match == std::string::npos) break;
        std::size_t lt = 0;
        const TagStart where = findTagStart(text, match, scanFrom, lt);
        if (where == TagStart::None) break;
        if (where == TagStart::NotInTag) {
            scanFrom = match + 1;
            continue;
        }
        const std::size_t end = elementEnd(text, lt);
        if (end == std::string::npos) break;
        text.erase(lt, end - lt);
        ++removed;
    }
    log.LogDataLong("numNextActorElementsRemoved", removed);
}

}  // namespace xmldsig
