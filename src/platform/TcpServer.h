// The agent's TCP connection to a platform server and its receive / response threads.
#pragma once

#include <cstddef>

// Resolves `host` and writes its first IPv4 address in dotted form into `ip` (16 bytes).
// 0 on success, -1 for an empty name or a failed lookup.
int GetServerIp(const char* host, char* ip, size_t ipSize);

void DeleteServer();
// Empties the receive queue (its fill offset back to 0).
void ResetRecvQueue();
