// A router for the function-call tests: the SDK simulator over a private state file and call
// log, and a way to run one function call with a request buffer of exactly the received size.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <memory>
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

using JsonPtr = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

// A private simulated router. The state starts from the test state below.
class SimRouter {
public:
    SimRouter();
    ~SimRouter();
    // Rewrites the state file after `edit` changed the parsed state.
    void Edit(void (*edit)(cJSON* root));
    void Fail(const std::string& sdkName, int status);
    std::string CallLog() const;
    std::string StatePath() const { return dir_.File("state.json"); }

private:
    JsonPtr State() const;
    void Write(cJSON* root);
    testsupport::TempDir dir_;
};

}  // namespace fntest
