#include "host/crypto/detail/KeyValueXml.h"

#include <cstring>

#include "host/crypto/detail/KeyBuild.h"
#include "host/log/LogBase.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/text/ContentCoding.h"
#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"
#include "host/xml/ClsXml.h"

namespace xmldsig::detail {
namespace {

// Large enough for any number a usable key holds (a 16384-bit modulus is 2 KiB) with room to
// spare, so that an oversized key is refused by the key checks with its size in the log.
constexpr std::size_t kMaxNumberBytes = 16384;

EvpPkeyPtr rsaKeyFromXml(const ClsXml& el, LogBase& log) {
    BignumPtr n = readCryptoBinary(el, "*:Modulus", log);
    BignumPtr e = n ? readCryptoBinary(el, "*:Exponent", log) : nullptr;
    if (!n || !e) return nullptr;
    return buildRsaKey(n.get(), e.get(), log);
}

EvpPkeyPtr dsaKeyFromXml(const ClsXml& el, LogBase& log) {
    static const char* const kNames[] = {"*:P", "*:Q", "*:G", "*:Y"};
    BignumPtr v[4];
    for (int i = 0; i < 4; ++i) {
        v[i] = readCryptoBinary(el, kNames[i], log);
        if (!v[i]) {
            if (i < 3) log.LogError("A DSA key value needs its domain parameters P, Q and G.");
            return nullptr;
        }
    }
    return buildDsaKey(v[0].get(), v[1].get(), v[2].get(), v[3].get(), log);
}

using Reader = EvpPkeyPtr (*)(const ClsXml&, LogBase&);

struct KeyValueForm {
    const char* localName;
    Reader read;
};

const KeyValueForm kForms[] = {
    {"RSAKeyValue", rsaKeyFromXml},
    {"DSAKeyValue", dsaKeyFromXml},
    {"ECKeyValue", ecKeyFromXmlDsig11},
    {"ECDSAKeyValue", ecKeyFromRfc4050},
};

const char* localNameOf(const StringBuffer& tag) {
    const char* colon = std::strrchr(tag.getString(), ':');
    return colon != nullptr ? colon + 1 : tag.getString();
}

}  // namespace

bool readBase64Child(const ClsXml& element, const char* path, std::size_t maxBytes, DataBuffer& out,
                     LogBase& log) {
    StringBuffer text;
    if (!element.getChildContentUtf8(path, text, false) || text.isEmpty()) {
        log.LogError("A key value element is missing or empty.");
        log.LogDataStr("element", path);
        return false;
    }
    if (text.getSize() > 4 * maxBytes / 3 + 1024) {  // room for line breaks and blanks
        log.LogError("A key value element is too long.");
        log.LogDataStr("element", path);
        log.LogDataLong("length", static_cast<long>(text.getSize()));
        return false;
    }
    if (!ContentCoding::decodeBase64ToDb(text.getString(), text.getSize(), out) || out.isEmpty() ||
        out.getSize() > maxBytes) {
        log.LogError("A key value element is not valid base64 of an acceptable size.");
        log.LogDataStr("element", path);
        return false;
    }
    return true;
}

BignumPtr readCryptoBinary(const ClsXml& element, const char* path, LogBase& log) {
    DataBuffer bytes;
    if (!readBase64Child(element, path, kMaxNumberBytes, bytes, log)) return nullptr;
    BignumPtr bn(BN_bin2bn(bytes.getData2(), static_cast<int>(bytes.getSize()), nullptr));
    if (!bn) log.LogError("Out of memory reading a key number.");
    return bn;
}

EvpPkeyPtr keyFromKeyValueXml(const StringBuffer& xml, LogBase& log) {
    LogContextExitor ctx(log, "keyFromKeyValueXml");
    RefCountedObjectOwner owner(ClsXml::createNewCls());
    ClsXml* root = static_cast<ClsXml*>(owner.get());
    if (root == nullptr || !root->loadXml(xml, true, log)) {
        log.LogError("The key value is not well-formed XML.");
        return nullptr;
    }
    StringBuffer tag;
    root->getTag(tag);
    if (std::strcmp(localNameOf(tag), "KeyValue") == 0 && root->getChild2(0)) root->getTag(tag);
    for (const KeyValueForm& form : kForms) {
        if (std::strcmp(localNameOf(tag), form.localName) == 0) return form.read(*root, log);
    }
    log.LogError("The element is not a key value this library reads.");
    log.LogDataSb("tag", tag);
    return nullptr;
}

}  // namespace xmldsig::detail
