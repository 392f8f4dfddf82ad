// XML to DER in three flat passes over the subtree: collect the elements in document order and
// encode each primitive value; add up content lengths from the last element back to the first
// (children always follow their parent); then write headers and values in document order.
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "host/cert/Asn1XmlConverter.h"
#include "host/cert/detail/Asn1Values.h"
#include "host/cert/detail/DerHeader.h"
#include "host/log/LogBase.h"
#include "host/text/DataBuffer.h"
#include "host/xml/ClsXml.h"
#include "host/xml/detail/XmlDom.h"

namespace xmldsig {
namespace {

using detail::Asn1Kind;
using detail::TagClass;

struct Item {
    const dom::Node* node = nullptr;
    std::size_t parent = SIZE_MAX;  // index of the enclosing item; SIZE_MAX for the top
    std::string tag;                // identifier octets
    bool constructed = false;
    std::string value;         // content octets of a primitive value
    std::string lengthOctets;  // as given by lengthOctets, else empty
    std::size_t contentLength = 0;
    std::size_t totalLength = 0;
};

struct Failure {
    std::string reason;
    const dom::Node* node = nullptr;
};

std::string elementText(const dom::Node& e) {
    std::string text;
    for (const dom::Node* c = e.firstChild; c != nullptr; c = c->nextSibling)
        if (c->type == dom::NodeType::Text) text += c->value;
    return text;
}

bool isBlankText(const std::string& s) {
    return s.find_first_not_of(" \t\r\n") == std::string::npos;
}

bool parseUnsigned(const std::string_view* text, std::uint32_t max, std::uint32_t& out) {
    if (text == nullptr || text->empty() || text->size() > 10) return false;
    std::uint64_t v = 0;
    for (char c : *text) {
        if (c < '0' || c > '9') return false;
        v = v * 10 + static_cast<std::uint64_t>(c - '0');
    }
    if (v > max) return false;
    out = static_cast<std::uint32_t>(v);
    return true;
}

bool hexToBytes(std::string_view hex, std::string& out) {
    if (hex.empty() || hex.size() % 2 != 0) return false;
    out.clear();
    for (std::size_t i = 0; i < hex.size(); i += 2) {
        int v = 0;
        for (std::size_t k = 0; k < 2; ++k) {
            const char c = hex[i + k];
            const int d = (c >= '0' && c <= '9')   ? c - '0'
                          : (c >= 'A' && c <= 'F') ? c - 'A' + 10
                          : (c >= 'a' && c <= 'f') ? c - 'a' + 10
                                                   : -1;
            if (d < 0) return false;
            v = v * 16 + d;
        }
        out.push_back(static_cast<char>(v));
    }
    return true;
}

// Fills the item's tag, form and (for a primitive) value from its element.
bool describe(const dom::Node& e, Item& item, Failure& failure) {
    const std::string name(e.localName());
    const std::string text = elementText(e);
    Asn1Kind kind = Asn1Kind::Base64;
    if (const detail::Asn1Type* t = detail::asn1TypeForName(name)) {
        kind = t->kind;
        item.constructed = kind == Asn1Kind::Constructed;
        item.tag = detail::encodeDerTag(TagClass::Universal, item.constructed, t->tag);
    } else {
        TagClass tagClass;
        std::uint32_t number = 0;
        if (!detail::tagClassForGenericName(name, tagClass)) {
            failure.reason = "unknown ASN.1 element name";
            return false;
        }
        if (!parseUnsigned(e.attributeValue("tag"), detail::kMaxTagNumber, number)) {
            failure.reason = "missing or bad tag attribute";
            return false;
        }
        const std::string_view* constructed = e.attributeValue("constructed");
        item.constructed =
            constructed != nullptr && (*constructed == "true" || *constructed == "1");
        item.tag = detail::encodeDerTag(tagClass, item.constructed, number);
    }
    if (const std::string_view* octets = e.attributeValue("lengthOctets")) {
        if (!hexToBytes(*octets, item.lengthOctets)) {
            failure.reason = "bad lengthOctets attribute";
            return false;
        }
    }
    if (item.constructed) {
        if (!isBlankText(text)) {
            failure.reason = "text inside a constructed value";
            return false;
        }
        return true;
    }
    if (e.firstChildElement() != nullptr) {
        failure.reason = "element inside a primitive value";
        return false;
    }
    std::uint32_t unused = 0;
    if (const std::string_view* u = e.attributeValue("unused")) {
        if (!parseUnsigned(u, 7, unused)) {
            failure.reason = "bad unused attribute";
            return false;
        }
    }
    return detail::encodeAsn1Value(kind, text, static_cast<int>(unused), item.value,
                                   failure.reason);
}

bool collect(const dom::Node* top, std::vector<Item>& items, Failure& failure) {
    std::unordered_map<const dom::Node*, std::size_t> index;
    for (const dom::Node* n = top; n != nullptr; n = dom::nextInDocumentOrder(n, top)) {
        if (!n->isElement()) continue;
        Item item;
        item.node = n;
        if (n != top) item.parent = index.at(n->parent);
        failure.node = n;
        if (!describe(*n, item, failure)) return false;
        index.emplace(n, items.size());
        items.push_back(std::move(item));
    }
    return true;
}

// Works out every item's length, children first.
bool measure(std::vector<Item>& items, Failure& failure) {
    for (std::size_t i = items.size(); i-- > 0;) {
        Item& item = items[i];
        if (!item.constructed) item.contentLength = item.value.size();
        std::string lengthField = detail::encodeDerLength(item.contentLength);
        if (!item.lengthOctets.empty()) {
            std::size_t given = 0;
            if (!detail::decodeDerLength(item.lengthOctets, given) || given != item.contentLength) {
                failure = {"lengthOctets does not match the content", item.node};
                return false;
            }
            lengthField = item.lengthOctets;
        }
        item.totalLength = item.tag.size() + lengthField.size() + item.contentLength;
        if (item.totalLength > Asn1XmlConverter::kMaxDerBytes) {
            failure = {"encoding too large", item.node};
            return false;
        }
        if (item.parent != SIZE_MAX) items[item.parent].contentLength += item.totalLength;
    }
    return true;
}

bool write(const std::vector<Item>& items, DataBuffer& der) {
    for (const Item& item : items) {
        const std::string lengthField = item.lengthOctets.empty()
                                            ? detail::encodeDerLength(item.contentLength)
                                            : item.lengthOctets;
        if (!der.appendStr(item.tag) || !der.appendStr(lengthField) || !der.appendStr(item.value))
            return false;
    }
    return true;
}

}  // namespace

bool Asn1XmlConverter::xmlToDer(const ClsXml& node, DataBuffer& der, LogBase& log) {
    der.clear();
    const dom::Node* top = node.node();
    if (top == nullptr || !top->isElement()) {
        log.LogError("No element to convert to DER.");
        return false;
    }
    Failure failure;
    try {
        std::vector<Item> items;
        if (collect(top, items, failure) && measure(items, failure)) {
            if (write(items, der)) return true;
            failure = {"out of memory writing the DER", nullptr};
        }
    } catch (...) {
        failure.reason = "out of memory";
    }
    der.clear();
    log.LogError("Cannot convert the XML to DER.");
    log.LogDataStr("reason", failure.reason.c_str());
    if (failure.node != nullptr) log.LogDataStr("element", std::string(failure.node->name).c_str());
    return false;
}

}  // namespace xmldsig
