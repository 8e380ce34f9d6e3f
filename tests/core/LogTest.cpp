#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "core/Log.h"

using testsupport::LogCapture;

namespace {

TEST(LogEnabled, OnlySingleLevelBitsInTheMask) {
    LogCapture log(31);
    EXPECT_EQ(0, LogEnabled(3));
    EXPECT_EQ(0, LogEnabled(0));
    EXPECT_EQ(0, LogEnabled(64));
    EXPECT_EQ(0, LogEnabled(32));  // a level bit, but not in the mask 31
    EXPECT_EQ(1, LogEnabled(16));
    EXPECT_EQ("", log.Text());  // the check prints nothing: the line is written whole later
}

TEST(LogEnabled, MaskZeroSilencesEverything) {
    LogCapture log(0);
    LOGE("error %d", 1);
    LOGD("debug");
    EXPECT_EQ("", log.Text());
}

// The time stamp and level tag lead each line; the message follows in its colour.
TEST(LogLine, TimeLevelAndColouredMessage) {
    LogCapture log(31);
    LOGE("Register failed.");
    std::string text = log.Text();
    int y, mo, d, h, mi, se, consumed = 0;
    ASSERT_EQ(6, sscanf(text.c_str(), "%d-%d-%d %d:%d:%d%n", &y, &mo, &d, &h, &mi, &se, &consumed));
    EXPECT_EQ(':', text[consumed - 3]);  // seconds printed with two digits
    EXPECT_EQ(0, text.compare(static_cast<size_t>(consumed), 6, " [ERR]")) << text;
    EXPECT_TRUE(log.Contains("\033[1;33mRegister failed.\033[0m\n\n")) << text;
    log.Clear();
    LOGI_OK("Login done");
    EXPECT_TRUE(log.Contains("[INFO]\033[1;32m [") &&
                log.Contains("\033[1;32mLogin done\033[0m\n\n"));
}

TEST(LogLine, LongMessagesAreWrittenWhole) {
    LogCapture log(31);
    std::string big(5000, 'z');
    LOGD("%s", big.c_str());
    EXPECT_TRUE(log.Contains(big + "\033[0m\n\n"));
}

std::mutex gWritesMu;
std::vector<std::string> gWrites;
void RecordWrite(const char* text, size_t len) {
    std::lock_guard<std::mutex> g(gWritesMu);
    gWrites.emplace_back(text, len);
}

// Each line, and each hex dump, reaches the output in one write, so lines logged by several
// threads at once never mix.
TEST(LogLine, OneWritePerLineAndPerDump) {
    unsigned oldMask = GetLogMask();
    SetLogSink(RecordWrite);
    SetLogMask(31);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 50; ++i)
                LOGD("thread %d line %d", t, i);
        });
    for (std::thread& t : threads)
        t.join();
    const unsigned char bytes[] = {0x01, 0xAB, 0xFF};
    LogHexBytes("\nFuncID 89, Auto report info:\n", bytes, sizeof bytes);
    SetLogSink(nullptr);
    SetLogMask(oldMask);
    ASSERT_EQ(gWrites.size(), 201u);
    for (size_t i = 0; i < 200; ++i) {
        const std::string& w = gWrites[i];
        EXPECT_NE(w.find("\033[1;33mthread "), std::string::npos) << w;
        EXPECT_EQ(w.substr(w.size() - 6), "\033[0m\n\n") << w;
    }
    EXPECT_EQ(gWrites[200], "\nFuncID 89, Auto report info:\n01 AB FF \n");
}

}  // namespace
