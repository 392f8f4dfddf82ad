// The HTTP client through which a component reaches a timestamp authority. A caller creates
// one, sets its timeouts and hands it to the component (SetHttpObj); the component keeps a
// counted reference. Only http and https URLs are fetched, redirects are not followed, and a
// response larger than kMaxResponseBytes is cut off and refused.
#pragma once

#include <cstddef>

#include "host/log/ClsBase.h"
#include "host/log/RefCountedObject.h"

namespace xmldsig {

class ClsBinData;
class DataBuffer;
class XString;

class ClsHttp : public ClsBase, public RefCountedObject {
  public:
    static constexpr std::size_t kMaxResponseBytes = 4u << 20;

    // Null (never an exception) when construction fails.
    static ClsHttp* createNewCls();
    ClsHttp();
    ~ClsHttp() override;

    // Seconds allowed to connect, and for the whole exchange (defaults 10 and 30; values
    // below 1 mean 1).
    int get_ConnectTimeout();
    void put_ConnectTimeout(int seconds);
    int get_ReadTimeout();
    void put_ReadTimeout(int seconds);
    // The HTTP status of the last response, 0 when none was received.
    int get_LastStatus();

    // POSTs the bytes with the given Content-Type and puts the response body in response.
    // True when a response came back with status 200.
    bool PostBinary(const XString& url, const ClsBinData& body, const XString& contentType,
                    ClsBinData& response);

    // The same for our own code: accept is the Accept header (null for none).
    bool postBinary(const char* url, const DataBuffer& body, const char* contentType,
                    const char* accept, DataBuffer& response, LogBase& log);

  private:
    int m_connectTimeout = 10;
    int m_readTimeout = 30;
    int m_lastStatus = 0;
};

}  // namespace xmldsig
