// ClsHttp against the loopback server: what it sends, what it accepts back, and how it fails.
#include <gtest/gtest.h>

#include <string>

#include "host/cms/ClsHttp.h"
#include "host/log/LogNull.h"
#include "host/xml/ClsBinData.h"
#include "support/LoopbackTsa.h"

namespace xmldsig {
namespace {

using test::LoopbackTsa;

class ClsHttpPost : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!LoopbackTsa::shared().ok()) GTEST_SKIP() << LoopbackTsa::shared().error();
    }
};

TEST_F(ClsHttpPost, SendsBodyAndContentTypeAndReturnsTheResponse) {
    ClsHttp http;
    ClsBinData body, response;
    const std::string bytes("binary\0body\xff", 12);
    body.m_data.append(bytes.data(), bytes.size());
    ASSERT_TRUE(http.PostBinary(XString(LoopbackTsa::shared().url("/echo").c_str()), body,
                                XString("application/x-test"), response))
        << http.lastErrorText();
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(response.m_data.getData2()),
                          response.m_data.getSize()),
              bytes);
    EXPECT_EQ(http.get_LastStatus(), 200);
}

TEST_F(ClsHttpPost, EmptyBodyIsSentAsEmpty) {
    ClsHttp http;
    DataBuffer empty, response;
    LogNull log;
    ASSERT_TRUE(http.postBinary(LoopbackTsa::shared().url("/echo").c_str(), empty, "text/plain",
                                nullptr, response, log));
    EXPECT_EQ(response.getSize(), 0u);
}

TEST_F(ClsHttpPost, FailuresSayWhy) {
    struct Row {
        const char* name;
        std::string url;
        int status;           // get_LastStatus afterwards
        const char* logLine;  // in LastErrorText
    } rows[] = {
        {"server error", LoopbackTsa::shared().url("/status500"), 500,
         "did not answer with status 200"},
        {"wrong content type", LoopbackTsa::shared().url("/"), 415,
         "did not answer with status 200"},
        {"too large", LoopbackTsa::shared().url("/big"), 200, "response is too large"},
        {"closed port", LoopbackTsa::closedUrl(), 0, "HTTP request failed."},
        {"file scheme", "file:///etc/passwd", 0, "Only http and https URLs are supported."},
        {"no scheme", "127.0.0.1/", 0, "Only http and https URLs are supported."},
        {"empty", "", 0, "Only http and https URLs are supported."},
    };
    for (const Row& r : rows) {
        ClsHttp http;
        ClsBinData body, response;
        body.m_data.appendStr("x");
        EXPECT_FALSE(http.PostBinary(XString(r.url.c_str()), body, XString("text/plain"), response))
            << r.name;
        EXPECT_EQ(http.get_LastStatus(), r.status) << r.name;
        EXPECT_NE(http.lastErrorText().find(r.logLine), std::string::npos) << r.name << "\n"
                                                                           << http.lastErrorText();
        if (r.status != 500 && r.status != 415) EXPECT_EQ(response.get_NumBytes(), 0u) << r.name;
    }
}

}  // namespace
}  // namespace xmldsig
