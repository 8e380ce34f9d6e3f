#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "TestSupport.h"
#include "core/Log.h"

using testsupport::LogCapture;

namespace {

// Mask 0 silencing every line is checked by the start-up test without "-d".
TEST(LogEnabled, OnlySingleLevelBitsInTheMask) {
    LogCapture log(31);
    for (unsigned level : {3u, 0u, 64u, 32u})  // 32: a level bit, but not in the mask 31
        EXPECT_EQ(0, LogEnabled(level)) << level;
    EXPECT_EQ(1, LogEnabled(16));
    EXPECT_EQ("", log.Text());  // the check prints nothing: the line is written whole later
}

std::mutex gWritesMu;
std::vector<std::string> gWrites;
void RecordWrite(const char* text, size_t len) {
    std::lock_guard<std::mutex> g(gWritesMu);
    gWrites.emplace_back(text, len);
}

// Each line, however long, and each hex dump reaches the output in one write, so lines logged
// by several threads at once never mix.
TEST(LogLine, OneWritePerLineAndPerDump) {
    LogCapture restore(31);  // puts the sink and the mask back at the end
    SetLogSink(RecordWrite);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([t] {
            for (int i = 0; i < 50; ++i)
                LOGD("thread %d line %d", t, i);
        });
    for (std::thread& t : threads)
        t.join();
    const std::string big(5000, 'z');
    LOGE("%s", big.c_str());
    const unsigned char bytes[] = {0x01, 0xAB, 0xFF};
    LogHexBytes("\nFuncID 89, Auto report info:\n", bytes, sizeof bytes);
    ASSERT_EQ(gWrites.size(), 202u);
    for (size_t i = 0; i < 200; ++i) {
        const std::string& w = gWrites[i];
        EXPECT_NE(w.find("\033[1;33mthread "), std::string::npos) << w;
        EXPECT_EQ(w.substr(w.size() - 6), "\033[0m\n\n") << w;
    }
    EXPECT_NE(gWrites[200].find(big + "\033[0m\n\n"), std::string::npos);
    EXPECT_EQ(gWrites[201], "\nFuncID 89, Auto report info:\n01 AB FF \n");
}

}  // namespace
