// The download client against real servers on loopback: the scripted server for every refusal
// and the edge lengths, busybox httpd for a multi-megabyte file checked against md5sum.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "HttpTestServer.h"
#include "TestSupport.h"
#include "core/Clock.h"
#include "core/Process.h"
#include "platform/Crypto.h"
#include "update/Download.h"

using testsupport::LogCapture;
using testsupport::ReadFile;
using testsupport::TempDir;
using testupdate::HttpTestServer;

namespace {

const char kRequest[] =
    "GET /dl/plug.bin HTTP/1.1\r\nHost:127.0.0.1\r\nAccept:*/*\r\n"
    "User-Agent:Mozilla/4.0 (compatible; MSIE 5.00; Windows 98)\r\nConnection:Keep-Alive\r\n\r\n";

std::string Body(size_t n) {
    std::string s(n, '\0');
    for (size_t i = 0; i < n; ++i)
        s[i] = static_cast<char>((i * 7 + 3) & 0xff);
    return s;
}

std::string Ok(size_t declared, size_t sent) {
    return "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(declared) + "\r\n\r\n" +
           Body(sent);
}

// Real time for everything but "now", which stands still: a rate test then always measures an
// elapsed time of 0 seconds.
class FrozenNowClock : public ScaledClock {
public:
    int64_t NowMs() override { return 1700000000000LL; }
};

class DownloadTest : public ::testing::Test {
protected:
    TempDir dir;
    LogCapture log;
    std::string file = dir.File("plug_download");
};

TEST_F(DownloadTest, ResponsesFromTheScriptedServer) {
    const std::string pad = "X-Pad: " + std::string(1100, 'p') + "\r\n";
    struct Case {
        const char* name;
        std::string response;
        int result;
        std::string fileContent;
        const char* logText;
    } cases[] = {
        {"1025 bytes", Ok(1025, 1025), 0, Body(1025), "lens = 1025"},
        {"2 MB", Ok(2 << 20, 2 << 20), 0, Body(2 << 20), "lens = 2097152"},
        {"more sent than declared", Ok(2000, 9000), 0, Body(2000), "lens = 2000"},
        {"other status with a length",
         "HTTP/1.1 500 Oops\r\nContent-Length: 1100\r\n\r\n" + Body(1100), 0, Body(1100),
         "lens = 1100"},
        {"exactly 1024", Ok(1024, 1024), -1, "", "lens = 1024"},
        {"length 0", Ok(0, 0), -1, "", "lens = 0"},
        {"not a number", "HTTP/1.1 200 OK\r\nContent-Length: x1\r\n\r\n" + Body(2000), -1, "",
         "lens = 0"},
        {"404", "HTTP/1.1 404 Not Found\r\nContent-Length: 2000\r\n\r\n" + Body(2000), -1, "",
         "found"},
        {"no length", "HTTP/1.1 200 OK\r\n\r\n" + Body(2000), -1, "", "Can't find Content-Length"},
        {"line of 64",
         "HTTP/1.1 200 OK\r\nContent-Length:" + std::string(45, ' ') + "2000\r\n\r\n" + Body(2000),
         -1, "", "lengthlen 64"},
        {"length too large", Ok(3000000000u, 10), -1, "", "Content-Length too large"},
        {"early close", Ok(5000, 3000), -1, Body(3000), "body ended after 3000 of 5000 bytes"},
        {"header over 1024",
         "HTTP/1.1 200 OK\r\nContent-Length: 2000\r\n" + pad + "\r\n" + Body(2000), -1, "",
         "response header without its blank line (1024 bytes)"},
        {"header cut by close", "HTTP/1.1 200 OK\r\nContent-Length: 2000\r\n", -1, "",
         "without its blank line (39 bytes)"},
        {"header without line end", "HTTP/1.1 200 OK\r\nContent-Length: 2000", -1, "",
         "Can't find newline and return characters."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        log.Clear();
        HttpTestServer server(c.response);
        EXPECT_EQ(DownLoadFIle("127.0.0.1", server.port(), "/dl/plug.bin", file.c_str()), c.result);
        EXPECT_EQ(server.LastRequest(), kRequest);
        EXPECT_TRUE(ReadFile(file) == c.fileContent) << ReadFile(file).size() << " bytes";
        EXPECT_TRUE(log.Contains(c.logText)) << log.Text();
        EXPECT_EQ(m_bConnected, 0);
        EXPECT_EQ(m_s, 0);
    }
}

TEST_F(DownloadTest, HeaderCutAt1024Bytes) {
    HttpTestServer server("HTTP/1.1 200 OK\r\nContent-Length: 2000\r\nX-Pad: " +
                          std::string(1100, 'p') + "\r\n\r\n" + Body(2000));
    EXPECT_EQ(DownLoadFIle("127.0.0.1", server.port(), "/a", file.c_str()), -1);
    EXPECT_EQ(m_nResponseHeaderSize, 1024);
    EXPECT_EQ(m_ResponseHeader[1023], 'p');
}

TEST_F(DownloadTest, SilentServerAndRefusedConnectGiveUp) {
    ScaledClock fast(1000.0);  // 30 s of silence last 30 ms
    SetClock(&fast);
    {
        HttpTestServer server("", /*silent=*/true);
        EXPECT_EQ(DownLoadFIle("127.0.0.1", server.port(), "/a", file.c_str()), -1);
        EXPECT_TRUE(log.Contains("http: no answer for 30 s"));
        EXPECT_TRUE(log.Contains("Can't find Content-Length"));
        EXPECT_EQ(DownTestRateFIle("127.0.0.1", server.port(), "/a", nullptr), -1);
    }
    int port = testupdate::FreeLoopbackPort();
    EXPECT_EQ(DownLoadFIle("127.0.0.1", port, "/a", file.c_str()), -1);
    EXPECT_TRUE(log.Contains("http: connect to 127.0.0.1:" + std::to_string(port) + " failed"));
    EXPECT_EQ(DownLoadFIle("no-such-host.invalid", 80, "/a", file.c_str()), -1);
    EXPECT_EQ(DownLoadFIle("127.0.0.1", 1234567, "/a", file.c_str()), -1);
    EXPECT_TRUE(log.Contains("http: port 1234567 out of range"));
    EXPECT_EQ(DownLoadFIle("127.0.0.1", port, "/a", "/nonexistent-dir/file"), -1);
    EXPECT_TRUE(log.Contains("download filename: /nonexistent-dir/file"));
    EXPECT_TRUE(log.Contains("can't open local file"));
    SetClock(nullptr);
}

TEST_F(DownloadTest, RateTest) {
    FrozenNowClock frozen;
    SetClock(&frozen);
    {
        HttpTestServer server(Ok(5000, 5000));
        EXPECT_EQ(DownTestRateFIle("127.0.0.1", server.port(), "/dl/plug.bin", "x"), 0);
        EXPECT_EQ(server.LastRequest(), kRequest);
        EXPECT_EQ(gDownRate.load(), 5000);  // elapsed 0 s counts as 1 s
        EXPECT_TRUE(log.Contains("--------------subtime 0,lens = 5000"));
        EXPECT_TRUE(log.Contains("--------------rate 5000"));
    }
    struct Case {
        std::string response;
        const char* logText;
    } failures[] = {
        {"HTTP/1.1 404 Not Found\r\nContent-Length: 2000\r\n\r\n" + Body(2000), "404 Not Found"},
        {Ok(1024, 1024), "lens = 1024"},
        {Ok(5000, 100), "body ended after 100 of 5000 bytes"},
    };
    for (const Case& c : failures) {
        HttpTestServer server(c.response);
        EXPECT_EQ(DownTestRateFIle("127.0.0.1", server.port(), "/a", nullptr), -1);
        EXPECT_EQ(gDownRate.load(), -1);
        EXPECT_TRUE(log.Contains(c.logText)) << c.logText;
    }
    EXPECT_EQ(DownTestRateFIle("127.0.0.1", 1, std::string(1100, 'a').c_str(), nullptr), -1);
    EXPECT_TRUE(log.Contains("req error."));
    SetClock(nullptr);
}

TEST(HttpPrimitivesTest, RequestHeaderAndResponseLines) {
    long len = 0;
    HttpInitState();
    const char* h = HttpFormatRequestHeader("h.example", "/p?a=1", &len, "c=2", "http://r/");
    const char want[] =
        "GET /p?a=1 HTTP/1.1\r\nHost:h.example\r\nReferer:http://r/\r\nAccept:*/*\r\n"
        "User-Agent:Mozilla/4.0 (compatible; MSIE 5.00; Windows 98)\r\nConnection:Keep-Alive\r\n"
        "Set Cookie:0c=2\r\n\r\n";
    ASSERT_NE(h, nullptr);
    EXPECT_STREQ(h, want);
    EXPECT_EQ(len, static_cast<long>(strlen(want)));
    char out[8] = {0};
    EXPECT_EQ(HttpGetRequestHeader(out, 5), 5);
    EXPECT_EQ(std::string(out, 5), "GET /");
    // Nothing that would break the request line reaches the wire; nothing overflows the buffer.
    for (std::string path :
         {std::string("/a\r\nX: y"), std::string("/a b"), "/" + std::string(1000, 'a')}) {
        EXPECT_EQ(HttpFormatRequestHeader("h", path.c_str(), &len, nullptr, nullptr), nullptr);
        EXPECT_EQ(len, 0);
    }

    const char head[] = "HTTP/1.1 206 Partial\r\nA: b\r\n\r\n";
    memcpy(m_ResponseHeader, head, sizeof head - 1);
    m_nResponseHeaderSize = static_cast<int>(sizeof head - 1);
    EXPECT_EQ(HttpGetServerState(), 206);
    char line[64];
    EXPECT_EQ(HttpGetResponseLine(line, sizeof line), 22);
    EXPECT_STREQ(line, "HTTP/1.1 206 Partial\r\n");
    EXPECT_EQ(HttpGetResponseLine(line, 3), 2);
    EXPECT_STREQ(line, "A:");
    EXPECT_EQ(HttpGetResponseLine(line, sizeof line), 4);
    EXPECT_EQ(HttpGetResponseLine(line, sizeof line), 2);
    EXPECT_EQ(HttpGetResponseLine(line, sizeof line), -1);
    EXPECT_EQ(m_nCurIndex, 0);
    HttpInitState();
    EXPECT_EQ(m_nResponseHeaderSize, -1);
    EXPECT_EQ(HttpReceiveIfConnected(line, sizeof line), 0);
}

// busybox httpd serves a 5 MB file; the copy equals the original.
TEST_F(DownloadTest, StockServerMultiMegabyteFile) {
    std::mt19937 rng(11);
    std::string big(5 * 1024 * 1024 + 321, '\0');
    for (char& c : big)
        c = static_cast<char>(rng());
    TempDir www;
    testsupport::WriteFile(www.File("plug.bin"), big);
    int port = testupdate::FreeLoopbackPort();
    Process httpd;  // killed and reaped when the test ends
    ASSERT_EQ(httpd.Start({"busybox", "httpd", "-f", "-p", "127.0.0.1:" + std::to_string(port),
                           "-h", www.path()}),
              0);
    int r = -1;
    ASSERT_TRUE(testsupport::WaitUntil([&] {
        r = DownLoadFIle("127.0.0.1", port, "/plug.bin", file.c_str());
        return r == 0;
    })) << log.Text();

    EXPECT_TRUE(ReadFile(file) == big);  // byte for byte; MD5 itself is PayloadTest's
}

}  // namespace
