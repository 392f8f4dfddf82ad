#include "host/cms/ClsHttp.h"

#include <curl/curl.h>

#include <memory>
#include <mutex>

#include "host/crypto/detail/handles.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"
#include "host/text/XString.h"
#include "host/xml/ClsBinData.h"

namespace xmldsig {

namespace {

using detail::FreeWith;
using CurlPtr = std::unique_ptr<CURL, FreeWith<&curl_easy_cleanup>>;
using CurlListPtr = std::unique_ptr<curl_slist, FreeWith<&curl_slist_free_all>>;

// curl_global_init is not thread-safe on every libcurl build; it runs once, before any handle.
bool curlReady() {
    static std::once_flag once;
    static bool ready = false;
    std::call_once(once, [] { ready = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK; });
    return ready;
}

struct ResponseSink {
    DataBuffer* body;
    bool tooLarge = false;
};

// Returning less than was offered makes libcurl abort the transfer.
size_t collectBody(char* data, size_t size, size_t count, void* userdata) {
    auto* sink = static_cast<ResponseSink*>(userdata);
    const size_t n = size * count;
    if (sink->body->getSize() + n > ClsHttp::kMaxResponseBytes) {
        sink->tooLarge = true;
        return 0;
    }
    return sink->body->append(data, n) ? n : 0;
}

bool isHttpUrl(const char* url) {
    const StringBuffer u(url != nullptr ? url : "");
    StringBuffer lower(u);
    lower.toLowerCase();
    return lower.beginsWith("http://") || lower.beginsWith("https://");
}

bool appendHeader(curl_slist*& list, const char* name, const char* value) {
    if (value == nullptr) return true;
    StringBuffer line;
    line.append3(name, ": ", value);
    curl_slist* grown = curl_slist_append(list, line.getString());
    if (grown == nullptr) return false;
    list = grown;
    return true;
}

int atLeastOne(int seconds) {
    return seconds < 1 ? 1 : seconds;
}

}  // namespace

ClsHttp* ClsHttp::createNewCls() {
    try {
        return new ClsHttp();
    } catch (...) {
        return nullptr;
    }
}

ClsHttp::ClsHttp() = default;
ClsHttp::~ClsHttp() = default;

int ClsHttp::get_ConnectTimeout() {
    CritSecExitor lock(this);
    return m_connectTimeout;
}

void ClsHttp::put_ConnectTimeout(int seconds) {
    CritSecExitor lock(this);
    m_connectTimeout = atLeastOne(seconds);
}

int ClsHttp::get_ReadTimeout() {
    CritSecExitor lock(this);
    return m_readTimeout;
}

void ClsHttp::put_ReadTimeout(int seconds) {
    CritSecExitor lock(this);
    m_readTimeout = atLeastOne(seconds);
}

int ClsHttp::get_LastStatus() {
    CritSecExitor lock(this);
    return m_lastStatus;
}

bool ClsHttp::PostBinary(const XString& url, const ClsBinData& body, const XString& contentType,
                         ClsBinData& response) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "PostBinary");
    const bool ok = postBinary(url.getUtf8(), body.m_data, contentType.getUtf8(), nullptr,
                               response.m_data, m_log);
    logSuccessFailure(ok);
    return ok;
}

bool ClsHttp::postBinary(const char* url, const DataBuffer& body, const char* contentType,
                         const char* accept, DataBuffer& response, LogBase& log) {
    CritSecExitor lock(this);
    LogContextExitor ctx(log, "httpPost");
    response.clear();
    m_lastStatus = 0;
    log.LogDataStr("url", url != nullptr ? url : "");
    if (!isHttpUrl(url)) {
        log.LogError("Only http and https URLs are supported.");
        return false;
    }
    if (!curlReady()) {
        log.LogError("Failed to initialize libcurl.");
        return false;
    }
    CurlPtr curl(curl_easy_init());
    curl_slist* rawHeaders = nullptr;
    const bool headersOk = appendHeader(rawHeaders, "Content-Type", contentType) &&
                           appendHeader(rawHeaders, "Accept", accept) &&
                           appendHeader(rawHeaders, "Expect", "");
    CurlListPtr headers(rawHeaders);
    if (curl == nullptr || !headersOk) {
        log.LogError("Out of memory preparing the HTTP request.");
        return false;
    }
    ResponseSink sink{&response};
    char errorText[CURL_ERROR_SIZE] = {0};
    CURL* h = curl.get();
    curl_easy_setopt(h, CURLOPT_URL, url);
    curl_easy_setopt(h, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(h, CURLOPT_FOLLOWLOCATION, 0L);
    curl_easy_setopt(h, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(h, CURLOPT_CONNECTTIMEOUT, static_cast<long>(m_connectTimeout));
    curl_easy_setopt(h, CURLOPT_TIMEOUT, static_cast<long>(m_readTimeout));
    curl_easy_setopt(h, CURLOPT_POST, 1L);
    // A null POSTFIELDS would make libcurl read the body from standard input.
    static const char kEmpty[] = "";
    const void* bodyBytes = body.isEmpty() ? kEmpty : static_cast<const void*>(body.getData2());
    curl_easy_setopt(h, CURLOPT_POSTFIELDS, bodyBytes);
    curl_easy_setopt(h, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.getSize()));
    curl_easy_setopt(h, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(h, CURLOPT_USERAGENT, "xmldsig");
    curl_easy_setopt(h, CURLOPT_WRITEFUNCTION, collectBody);
    curl_easy_setopt(h, CURLOPT_WRITEDATA, &sink);
    curl_easy_setopt(h, CURLOPT_ERRORBUFFER, errorText);

    const CURLcode rc = curl_easy_perform(h);
    long status = 0;
    curl_easy_getinfo(h, CURLINFO_RESPONSE_CODE, &status);
    m_lastStatus = static_cast<int>(status);
    log.LogDataLong("httpStatus", status);
    if (sink.tooLarge) {
        log.LogError("The HTTP response is too large.");
        response.clear();
        return false;
    }
    if (rc != CURLE_OK) {
        log.LogError("HTTP request failed.");
        log.LogDataStr("curlError", errorText[0] != '\0' ? errorText : curl_easy_strerror(rc));
        response.clear();
        return false;
    }
    log.LogDataLong("responseSize", static_cast<long>(response.getSize()));
    if (status != 200) {
        log.LogError("The HTTP server did not answer with status 200.");
        return false;
    }
    return true;
}

}  // namespace xmldsig
