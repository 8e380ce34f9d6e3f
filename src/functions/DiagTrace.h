// Traceroute job of functions 51 and 52: one traceroute at a time on a worker thread, its output
// in the traceroute file, and the watchdog KillTrace500s that kills a traceroute still running
// after 500 seconds.
#pragma once

#include <string>

// Function 51: starts the traceroute towards the dotted `address` and its watchdog.
// 0 started; 1 when a traceroute still runs or a thread could not be created.
int TraceStart(const std::string& address);

// Function 52: stops a traceroute that has not been fetched ("killall -9 traceroute", and the
// agent's own child is killed and reaped), joins it and reads up to 3999 bytes of the
// traceroute file into *text. 0, or -1 when the file cannot be opened.
int TraceFetch(std::string* text);

// Stops and joins everything of the job (tests and shutdown).
void TraceReset();
