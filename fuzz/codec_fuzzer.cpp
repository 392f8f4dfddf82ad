// Base64 (standard and URL-safe) and hex. Properties: encoding any bytes and decoding the text
// gives the bytes back; a text that decodes re-encodes to a text that decodes to the same bytes.
#include "FuzzInput.h"
#include "host/text/ContentCoding.h"

using namespace xmldsig;

namespace {

using Decode = bool (*)(const char*, std::size_t, DataBuffer&);
using Encode = bool (*)(const void*, std::size_t, StringBuffer&);

bool encodeHexUpper(const void* data, std::size_t length, StringBuffer& out) {
    return ContentCoding::encodeHex(data, length, true, out);
}
bool encodeHexLower(const void* data, std::size_t length, StringBuffer& out) {
    return ContentCoding::encodeHex(data, length, false, out);
}

struct Codec {
    Decode decode;
    Encode encode;
};
const Codec kCodecs[] = {
    {ContentCoding::decodeBase64ToDb, ContentCoding::encodeBase64},
    {ContentCoding::decodeBase64UrlToDb, ContentCoding::encodeBase64Url},
    {ContentCoding::decodeHexToDb, encodeHexUpper},
    {ContentCoding::decodeHexToDb, encodeHexLower},
};

void checkEncodeDecode(const Codec& c, const uint8_t* data, std::size_t size) {
    StringBuffer text;
    DataBuffer back;
    if (!c.encode(data, size, text)) fuzz::propertyBroken("encoding failed");
    if (!c.decode(text.getString(), text.getSize(), back))
        fuzz::propertyBroken("own text does not decode");
    DataBuffer original;
    original.append(data, size);
    if (!back.equals(original)) fuzz::propertyBroken("decode(encode(x)) != x");
}

void checkDecodeEncode(const Codec& c, const uint8_t* data, std::size_t size) {
    DataBuffer bytes;
    if (!c.decode(reinterpret_cast<const char*>(data), size, bytes)) return;
    StringBuffer text;
    DataBuffer again;
    if (!c.encode(bytes.getData2(), bytes.getSize(), text) ||
        !c.decode(text.getString(), text.getSize(), again) || !again.equals(bytes))
        fuzz::propertyBroken("a decoded text does not survive re-encoding");
}

}  // namespace

XMLDSIG_FUZZ_TARGET(codec_fuzzer) {
    fuzz::FuzzInput in(data, size);
    const Codec& codec = kCodecs[in.byte() % 4];
    checkEncodeDecode(codec, in.data(), in.size());
    checkDecodeEncode(codec, in.data(), in.size());
    // The names the library's callers use.
    const char* const names[] = {"base64", "base64url", "hex", "ascii"};
    for (const char* name : names) {
        DataBuffer db;
        db.appendEncoded(in.rest().c_str(), name);
        StringBuffer out;
        db.encodeDB(name, out);
    }
    return 0;
}
