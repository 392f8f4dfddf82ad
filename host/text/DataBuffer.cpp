// DataBuffer: byte storage and the named encodings.
#include "host/text/DataBuffer.h"

#include <openssl/crypto.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "host/text/CharsetConvert.h"
#include "host/text/ContentCoding.h"
#include "host/text/StringBuffer.h"
#include "host/text/detail/AsciiText.h"
#include "host/text/detail/EncodingNames.h"

namespace xmldsig {

DataBuffer::~DataBuffer() = default;

std::size_t DataBuffer::heapUsage() const {
    return m_data.capacity();
}

bool DataBuffer::append(const void* data, std::size_t length) {
    if (length == 0) return true;
    if (data == nullptr || length > kMaxSize - m_data.size()) return false;
    const auto* p = static_cast<const unsigned char*>(data);
    try {
        if (p >= m_data.data() && p < m_data.data() + m_data.size()) {
            const std::vector<unsigned char> copy(p, p + length);  // appending from ourselves
            m_data.insert(m_data.end(), copy.begin(), copy.end());
        } else {
            m_data.insert(m_data.end(), p, p + length);
        }
    } catch (const std::bad_alloc&) {
        return false;
    } catch (const std::length_error&) {
        return false;
    }
    return true;
}

bool DataBuffer::append(const DataBuffer& other) {
    return append(other.m_data.data(), other.m_data.size());
}

bool DataBuffer::append(const StringBuffer& text) {
    return append(text.getString(), text.getSize());
}

bool DataBuffer::appendStr(std::string_view text) {
    return append(text.data(), text.size());
}

bool DataBuffer::appendEncoded(const char* text, const char* encoding) {
    const std::string_view t(detail::orEmpty(text));
    switch (detail::classifyEncoding(encoding)) {
        case detail::EncodingKind::Base64:
            return ContentCoding::decodeBase64ToDb(t.data(), t.size(), *this);
        case detail::EncodingKind::Base64Url:
            return ContentCoding::decodeBase64UrlToDb(t.data(), t.size(), *this);
        case detail::EncodingKind::Hex:
        case detail::EncodingKind::HexLower:
            return ContentCoding::decodeHexToDb(t.data(), t.size(), *this);
        case detail::EncodingKind::TextBytes:
            return appendStr(t);
        case detail::EncodingKind::Other: {
            // Any other name is a character set: the UTF-8 text is converted into it.
            std::string bytes, error;
            return convertCharset(t, "UTF-8", encoding, bytes, error) && appendStr(bytes);
        }
    }
    return false;
}

bool DataBuffer::encodeDB(const char* encoding, StringBuffer& out) const {
    const unsigned char* p = m_data.data();
    switch (detail::classifyEncoding(encoding)) {
        case detail::EncodingKind::Base64:
            return ContentCoding::encodeBase64(p, m_data.size(), out);
        case detail::EncodingKind::Base64Url:
            return ContentCoding::encodeBase64Url(p, m_data.size(), out);
        case detail::EncodingKind::Hex:
            return ContentCoding::encodeHex(p, m_data.size(), true, out);
        case detail::EncodingKind::HexLower:
            return ContentCoding::encodeHex(p, m_data.size(), false, out);
        case detail::EncodingKind::TextBytes:
            return out.appendN(reinterpret_cast<const char*>(p), getSize());
        case detail::EncodingKind::Other: {
            std::string text, error;
            const std::string_view bytes(reinterpret_cast<const char*>(p), m_data.size());
            return convertCharset(bytes, encoding, "UTF-8", text, error) && out.append(text);
        }
    }
    return false;
}

bool DataBuffer::equals(const DataBuffer& other) const {
    return m_data == other.m_data;
}

void DataBuffer::clear() {
    m_data.clear();
}

void DataBuffer::secureClear() {
    m_data.resize(m_data.capacity());  // spare capacity may hold bytes of earlier content
    if (!m_data.empty()) OPENSSL_cleanse(m_data.data(), m_data.size());
    m_data.clear();
}

}  // namespace xmldsig
