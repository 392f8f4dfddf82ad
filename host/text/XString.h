// The string type that crosses the public interface: UTF-8 text held in a StringBuffer.
#pragma once

#include "host/text/StringBuffer.h"
#include "host/text/TavolinObject.h"

namespace xmldsig {

class DataBuffer;
class LogBase;
class _tvCharset;

class XString : public TavolinObject {
  public:
    XString() = default;
    explicit XString(const char* utf8);
    XString(const XString& other);
    XString& operator=(const XString& other);
    ~XString() override;  // wipes the bytes when marked secure

    std::size_t heapUsage() const override;

    const char* getUtf8() const { return m_sb.getString(); }
    const StringBuffer& getUtf8Sb() const { return m_sb; }
    StringBuffer& getUtf8Sb_rw() { return m_sb; }  // writing here changes the string
    unsigned getSizeUtf8() const { return m_sb.getSize(); }
    bool isEmpty() const { return m_sb.isEmpty(); }

    bool appendUtf8(const char* s);
    bool appendSbUtf8(const StringBuffer& sb);
    bool setFromUtf8(const char* s);
    bool setFromSbUtf8(const StringBuffer& sb);
    bool copyFromX(const XString& other);
    void clear();  // wipes first when marked secure

    // Marks the content as secret: it is overwritten with zeros whenever it is released.
    void setSecureX(bool secure) { m_secure = secure; }
    bool isSecure() const { return m_secure; }

    // Re-expresses the content in another textual encoding. Supported pairs: "decimal" <->
    // "hex" (hex upper case, two digits per byte, no leading zero byte: 255 -> FF,
    // 256 -> 0100, 0 -> 00), "base64" <-> "hex", and any of "base64"/"hex"/"base64url" to
    // another of them. False (content unchanged) on malformed input or an unknown pair.
    bool reencode(const char* fromEncoding, const char* toEncoding);

    // Appends the content encoded in the given character set to out; false when a character
    // cannot be represented.
    bool getConverted(const _tvCharset& charset, DataBuffer& out) const;

    // When the content is not valid UTF-8, reads it as Windows-1252 and converts it to UTF-8.
    // The LogBase form (implemented in host/log) notes the conversion in the log.
    void checkFixUtf8Windows1252(LogBase& log);
    bool checkFixUtf8Windows1252();  // true when it converted

  private:
    StringBuffer m_sb;
    bool m_secure = false;
};

}  // namespace xmldsig
