// Ping job of functions 8 and 9: one ping at a time on a worker thread, so that the dispatcher
// answers at once; the output without its per-reply lines is kept for the fetch.
#pragma once

#include <string>

// Runs "ping -s size -c count address" (count capped at 50) and keeps its output, lines with
// "ttl"/"TTL" left out, up to 3999 bytes. Sets the ping status to 1 at its start and to 0 when
// the output was read. 0; -1 when the tool could not be started (the status stays 1); -2 when it
// could not be waited for.
int PopenParsePing(int size, int count, const char* address);

// Function 8: starts the ping worker towards the dotted `address`. 0 started; 1 when a
// ping still runs or the thread could not be created.
int PingStart(int size, int count, const std::string& address);

// Function 9: the ping status (0 finished, 1 running or not started) and, when 0, the result
// text. Joins the worker once it has ended; never waits for a running ping.
int PingFetch(std::string* text);

// Kills a running ping, joins the worker and clears the result (tests and shutdown).
void PingReset();
