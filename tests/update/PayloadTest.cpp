// ParserPlug and ParserPlugData over good and bad plug-in data (one table each: input, result,
// log text) and the update state the parser leaves.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstring>
#include <string>

#include "TestSupport.h"
#include "core/Paths.h"
#include "functions/ParseJson.h"
#include "platform/Session.h"
#include "update/PlugUpdate.h"

using testsupport::LogCapture;

namespace {

std::string Update(const std::string& url) {
    return R"({"pluginID":"P","fromVersion":"1","toVersion":"2","url":")" + url +
           R"(","fileLength":3000,"fileMD5":"abc","token":"t"})";
}

TEST(PayloadTest, ParserPlugTable) {
    const std::string s31(31, 's'), s32(32, 's');
    struct Case {
        int type;
        std::string json;
        int result;
        const char* logText;
    } cases[] = {
        {2, Update("http://h.example:1234567/a/b"), 0, "portlen 7"},
        {2, Update("http://h.example:12345678/a"), -1, "portlen 8"},
        {2, Update("http://" + s31 + "/a"), 0, "server len  31"},
        {2, Update("http://" + s32 + ":80/a"), -1, "server len  32"},
        {2, Update("http://h:8080/p/q.bin"), 0,
         "port 8080;mDownloadUrl : /p/q.bin; mDownloadServer: h "},
        {2, Update("h.example/a"), -1, "url without \"://\""},
        {2, Update("http://h:80"), -1, "url without a path after its port"},
        {2, Update("http://h"), -1, "url without a path"},
        {2, Update("http://h:8x/a"), -1, "url port is not a number"},
        {2, R"({"pluginID":"P","fromVersion":"1","toVersion":"2","url":5})", -1,
         "key \"url\" is not a string"},
        {2,
         R"({"pluginID":"P","fromVersion":"1","toVersion":"2","url":"http://h/a",)"
         R"("fileLength":"x","fileMD5":"m","token":"t"})",
         -1, "key \"fileLength\" is not a number"},
        {1, R"({"pluginID":"P","fromVersion":"123456789012345678","toVersion":"2"})", 0,
         "fromVersion of 18 bytes cut to 15"},
        {1, R"({"pluginID":"P","toVersion":"2"})", -1, "key \"fromVersion\" missing"},
        {1, "{not json", -1, "json parse error"},
        {4, R"({"result":1})", 0, ""},
        {4, R"({})", -1, "key"},
        {6, R"({"mac":"A1B2C3D4E5F6","result":3})", 0, "devrecog result  : 3"},
        {6, R"({"mac":"A1B2C3D4E5","result":3})", -1, "is not twelve hex digits"},
        {7, R"({"mac":1})", -1, "key \"mac\" is not a string"},
        {15, R"({"toVersion":"2"})", 1, "fromVersion is mismatching."},
        {15, R"({"fromVersion":"1"})", 2, "toVersion is mismatching."},
        {15, R"({"fromVersion":"1","toVersion":"2"})", 0, ""},
        {16, R"({"fromVersion":"1","toVersion":"2"})", 3, "url is null."},
        {16, R"({"fromVersion":"1","toVersion":"2","url":"u","checkMethod":"md5"})", 5,
         "fileLength is null."},
        {16, R"({"fromVersion":"1","toVersion":"2","url":"u","fileLength":9})", 4,
         "checkMethod is null."},
        {16, R"({"fromVersion":"1","toVersion":"2","url":"u","fileLength":9,"checkMethod":"m"})", 7,
         "chkSum is null."},
        {18, R"({"func40Interval":19})", 0, "Set subdev auto report 19 minute."},
        {18, R"({"func40Interval":20})", -1, "Set subdev auto report error."},
        {18, R"({"func40Interval":0})", 0, "Close subdev auto report."},
        {18, R"({})", -1, "func40Interval not found."},
        {17, R"({})", 0, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.json);
        LogCapture log;
        EXPECT_EQ(ParserPlug(c.type, c.json.c_str()), c.result);
        EXPECT_TRUE(log.Contains(c.logText)) << log.Text();
    }
    EXPECT_EQ(ParserPlug(1, nullptr), -1);
}

TEST(PayloadTest, StateLeftByTheParser) {
    ASSERT_EQ(ParserPlug(2, Update("http://10.0.0.9/dl/p.bin").c_str()), 0);
    EXPECT_STREQ(mDownloadServer, "10.0.0.9");
    EXPECT_EQ(mDownloadPort, 80);
    EXPECT_STREQ(mDownloadUrl, "/dl/p.bin");
    EXPECT_EQ(mFileLength, 3000);
    EXPECT_STREQ(mFileMD5, "abc");
    ASSERT_EQ(ParserPlug(16, R"({"fromVersion":"1.0","toVersion":"2.0","url":"http://f/w.bin",)"
                             R"("fileLength":258,"checkMethod":"md5","chkSum":"0123abcd"})"),
              0);
    EXPECT_STREQ(reinterpret_cast<char*>(upParm), "1.0");
    EXPECT_STREQ(reinterpret_cast<char*>(upParm + 64), "2.0");
    EXPECT_STREQ(reinterpret_cast<char*>(upParm + 128), "http://f/w.bin");
    EXPECT_EQ(upParm[380], 2);  // 258 little-endian
    EXPECT_EQ(upParm[381], 1);
    EXPECT_STREQ(reinterpret_cast<char*>(upParm + 384), "md5");
    EXPECT_STREQ(reinterpret_cast<char*>(upParm + 392), "0123abcd");
    ASSERT_EQ(ParserPlug(18, R"({"func40Interval":"3"})"), 0);
    EXPECT_EQ(Fn40Interval.load(), 18);
    EXPECT_EQ(AutoReportDevinfo.load(), 1);
}

// ParserPlugData's table for the types that send nothing when no platform session is up.
TEST(PlugDataTest, DispatchByDataType) {
    testsupport::TempDir dir;
    PathsRelocate(dir.path());
    struct Case {
        uint8_t type;
        const char* json;
        int result;
        const char* logText;
    } cases[] = {
        {1, "{bad", 0, "update cmd ok"},
        {3, "{}", 0, ""},
        {4, R"({"result":0})", 0, "datatype_online"},
        {5, "{}", -1, "datatype_vip"},
        {6, "{}", -1, "datatype_recog"},
        {7, R"({"mac":"A1B2C3D4E5F6"})", 0, "datatype_rerecog"},
        {8, "{}", 0, ""},
        {9, "{}", -3, "datatype_route_set"},
        {10, "{}", 0, ""},
        {14, "{}", 0, ""},
        {17, "{}", 0, ""},
        {18, R"({"func40Interval":2})", 0, "datatype_fn40_interval."},
        {2, R"({"url":"x"})", 0, "md5: down :"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(static_cast<int>(c.type));
        LogCapture log;
        EXPECT_EQ(ParserPlugData(c.type, c.json, strlen(c.json)), c.result);
        EXPECT_TRUE(log.Contains(c.logText)) << log.Text();
    }
    // The failed plug-in update (type 2, last row) is recorded as 104; nothing was downloaded.
    EXPECT_EQ(testsupport::ReadFile(dir.File("plugstatus")), "104\n");
    EXPECT_EQ(access(dir.File("plug_download").c_str(), F_OK), -1);
    PathsRelocate("");
}

}  // namespace
