// A router for the function-call tests: the SDK simulator over a private state file and call
// log, and a way to run one function call with a request buffer of exactly the received size.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "../support/TestSupport.h"

namespace fntest {

using Bytes = std::vector<uint8_t>;
using testsupport::Hex;

// An expected answer of `len` zero bytes that is filled at documented offsets.
struct Image {
    explicit Image(size_t len) : bytes(len, 0) {}
    Image& At(size_t off, const Bytes& b);
    Image& Text(size_t off, const std::string& text);  // without its NUL
    Bytes bytes;
};

// A request: tag AB CD, the function ID, bytes 4-9 zero, then `params`.
Bytes Request(uint16_t id, const Bytes& params = {});

struct Answer {
    int ret = 0;
    Bytes bytes;
};

// Runs ParserProtoolData on a heap copy of exactly `req` (so over-reads are caught by ASan).
Answer Call(const Bytes& req);

// A private simulated router, from the test state in FnTestSupport.cpp.
class SimRouter {
public:
    SimRouter();
    ~SimRouter();
    void Edit(const std::function<void(cJSON* root)>& edit);  // rewrites the state file
    void Fail(const std::string& sdkName, int status);
    std::string CallLog() const;

private:
    testsupport::TempDir dir_;
};

}  // namespace fntest
