// The download client against real servers on loopback: the scripted server for every refusal
// and the edge lengths, busybox httpd for a multi-megabyte file checked against md5sum.
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "HttpTestServer.h"
#include "TestSupport.h"
#include "core/Clock.h"
#include "core/Process.h"
#include "update/Download.h"
#include "update/PlugUpdate.h"

using testsupport::ReadFile;
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

std::string Ok(size_t declared, size_t sent, const std::string& head = "HTTP/1.1 200 OK") {
    return head + "\r\nContent-Length: " + std::to_string(declared) + "\r\n\r\n" + Body(sent);
}

// Real time for everything but "now", which stands still: the rate test always measures 0 s.
struct FrozenNowClock : ScaledClock {
    int64_t NowMs() override { return 1700000000000LL; }
};

struct DownloadTest : ::testing::Test {
    void TearDown() override { SetClock(nullptr); }
    testsupport::TempDir dir;
    testsupport::LogCapture log;
    std::string file = dir.File("plug_download");
};

TEST_F(DownloadTest, ResponsesFromTheScriptedServer) {
    const std::string h200 = "HTTP/1.1 200 OK\r\n", pad = "X-Pad: " + std::string(1100, 'p');
    struct Case {
        std::string response;
        int result;
        std::string fileContent;
        const char* logText;
    } cases[] = {
        {Ok(1025, 1025), 0, Body(1025), "lens = 1025"},
        {Ok(2000, 9000), 0, Body(2000), "lens = 2000"},
        {Ok(1100, 1100, "HTTP/1.1 500 Oops"), 0, Body(1100), "lens = 1100"},
        {Ok(1024, 1024), -1, "", "lens = 1024"},
        {Ok(0, 0), -1, "", "lens = 0"},
        {h200 + "Content-Length: x1\r\n\r\n" + Body(2000), -1, "", "lens = 0"},
        {Ok(2000, 2000, "HTTP/1.1 404 Not Found"), -1, "", "HTTP/1.1 404 Not Found"},
        {h200 + "\r\n" + Body(2000), -1, "", "Can't find Content-Length"},
        {h200 + "Content-Length:" + std::string(45, ' ') + "2000\r\n\r\n", -1, "", "lengthlen 64"},
        {Ok(3000000000u, 10), -1, "", "Content-Length too large"},
        {Ok(5000, 3000), -1, Body(3000), "body ended after 3000 of 5000 bytes"},
        {h200 + "Content-Length: 2000\r\n" + pad + "\r\n\r\n" + Body(2000), -1, "",
         "header without its blank line (1024 bytes)"},
        {h200 + "Content-Length: 2000\r\n", -1, "", "without its blank line (39 bytes)"},
        {h200 + "Content-Length: 2000", -1, "", "Can't find newline and return characters."},
    };
    FrozenNowClock frozen;
    SetClock(&frozen);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.logText);
        log.Clear();
        HttpTestServer server(c.response);
        EXPECT_EQ(DownLoadFIle("127.0.0.1", server.port(), "/dl/plug.bin", file.c_str()), c.result);
        EXPECT_EQ(server.LastRequest(), kRequest);
        EXPECT_TRUE(ReadFile(file) == c.fileContent) << ReadFile(file).size() << " bytes";
        EXPECT_TRUE(log.Contains(c.logText)) << log.Text();
        EXPECT_EQ(m_bConnected, 0);
        EXPECT_EQ(m_s, 0);
        // The rate test takes the same response the same way; 0 s elapsed counts as 1 s.
        log.Clear();
        EXPECT_EQ(DownTestRateFIle("127.0.0.1", server.port(), "/dl/plug.bin", "x"), c.result);
        EXPECT_EQ(server.LastRequest(), kRequest);
        EXPECT_EQ(gDownRate.load(), c.result == 0 ? static_cast<int>(c.fileContent.size()) : -1);
        EXPECT_TRUE(log.Contains(c.logText)) << log.Text();
    }
}

TEST_F(DownloadTest, SilentServerRefusedConnectAndBadArgumentsGiveUp) {
    ScaledClock fast(1000.0);  // 30 s of silence last 30 ms
    SetClock(&fast);
    int port = 0, listenFd = testsupport::BindLoopback(&port);  // connects, never answers
    EXPECT_EQ(DownLoadFIle("127.0.0.1", port, "/a", file.c_str()), -1);
    EXPECT_TRUE(log.Contains("http: no answer for 30 s"));
    EXPECT_EQ(DownTestRateFIle("127.0.0.1", port, "/a", nullptr), -1);
    close(listenFd);  // from now on connections are refused
    EXPECT_EQ(DownLoadFIle("127.0.0.1", port, "/a", file.c_str()), -1);
    EXPECT_TRUE(log.Contains("http: connect to 127.0.0.1:" + std::to_string(port) + " failed"));
    EXPECT_EQ(DownLoadFIle("no-such-host.invalid", 80, "/a", file.c_str()), -1);
    EXPECT_EQ(DownLoadFIle("127.0.0.1", 1234567, "/a", file.c_str()), -1);
    EXPECT_TRUE(log.Contains("http: port 1234567 out of range"));
    EXPECT_EQ(DownLoadFIle("127.0.0.1", port, "/a", "/nonexistent-dir/file"), -1);
    EXPECT_TRUE(log.Contains("can't open local file"));
    // Nothing that would break the request line reaches the wire; nothing overflows the buffer.
    HttpTestServer server(Ok(2000, 2000));
    for (std::string path :
         {std::string("/a\r\nX: y"), std::string("/a b"), std::string(1100, 'a')}) {
        log.Clear();
        EXPECT_EQ(DownLoadFIle("127.0.0.1", server.port(), path.c_str(), file.c_str()), -1);
        EXPECT_TRUE(log.Contains("req is error.")) << log.Text();
        EXPECT_EQ(DownTestRateFIle("127.0.0.1", server.port(), path.c_str(), nullptr), -1);
        EXPECT_TRUE(log.Contains("req error."));
    }
    EXPECT_EQ(server.LastRequest(), "");
}

// busybox httpd serves a 5 MB file; the copy and its MD5 equal the original's (md5sum).
TEST_F(DownloadTest, StockServerMultiMegabyteFileAndItsMd5) {
    std::mt19937 rng(11);
    std::string big(5 * 1024 * 1024 + 321, '\0');
    for (char& c : big)
        c = static_cast<char>(rng());
    testsupport::TempDir www;
    testsupport::WriteFile(www.File("plug.bin"), big);
    int port = 0;  // a port free for httpd
    close(testsupport::BindLoopback(&port));
    Process httpd;  // killed and reaped when the test ends
    ASSERT_EQ(httpd.Start({"busybox", "httpd", "-f", "-p", "127.0.0.1:" + std::to_string(port),
                           "-h", www.path()}),
              0);
    ASSERT_TRUE(testsupport::WaitUntil([&] {
        return DownLoadFIle("127.0.0.1", port, "/plug.bin", file.c_str()) == 0;
    })) << log.Text();
    EXPECT_TRUE(ReadFile(file) == big);
    Process md5sum;
    ASSERT_EQ(md5sum.Start({"md5sum", www.File("plug.bin")}, {ProcessOutput::kPipe, ""}), 0);
    std::string line;
    ASSERT_TRUE(md5sum.ReadLine(&line, 200));
    md5sum.Wait();
    char hex[kMd5HexSize];
    ASSERT_EQ(Compute_file_md5(file.c_str(), hex), 0);
    EXPECT_EQ(line.substr(0, 32), hex);
    EXPECT_EQ(Compute_file_md5(dir.File("missing").c_str(), hex), -1);
}

}  // namespace
