// Download-rate tests: function 61 against the operator's fixed speed-test server, function 87
// against an address the platform configures. One test at a time on a worker thread; the worker
// pushes its result to the platform as the function-62 record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// Function 61: starts RateTestThread unless a test runs. 0 (started, or one still runs); 1 when
// the thread could not be created.
int RateTestStart();

// Function 87: the JSON payload (`length` bytes, 2 to 1023, checked by the caller) names the
// test address under "value_func61"; starts RateTestProc with it unless a test runs. 0, or 1
// when the JSON cannot be parsed, lacks the key or the thread could not be created.
int ParseConfigData(const char* json, size_t length);

// A configured address split into what the HTTP client needs.
struct RateAddress {
    std::string server;
    int port = 0;
    std::string path;
};
// Splits scheme "://" server [":" port] "/" path. 0, or -1 when it gives no test: no "://" or
// no "/", a server name shorter than 3 or longer than 64 characters, a port that is not a
// decimal number from 1 to 65535.
int RateSplitAddress(const char* address, RateAddress* out);

// The 10-byte function-62 record: tag 0, function 62, code 1 when `rate` is -1 else 0, the rate.
void RateBuildRecord(int rate, uint8_t out[10]);

// Joins a finished test (tests and shutdown); waits for a running one.
void RateReset();
