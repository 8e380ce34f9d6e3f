// The round trip of a plain loopback TCP echo: the floor under any request/answer exchange on
// this machine, measured beside the agent in the same run.
#pragma once

#include <cstddef>
#include <vector>

// Round trips of `count` messages of `size` bytes, in microseconds; empty on a socket error.
std::vector<double> EchoRoundTrips(size_t count, size_t size);
