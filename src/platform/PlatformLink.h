// The platform client's link: its one TCP connection to a platform server, with the receive thread
// (ServerRecv) that cuts frames and the response thread (RespProc) that handles them.
#pragma once

#include <cstddef>
#include <cstdint>

// Resolves `host` and writes its first IPv4 address in dotted form into `ip` (16 bytes).
// 0 on success, -1 for an empty name or a failed lookup.
int GetServerIp(const char* host, char* ip, size_t ipSize);

// Connects to `address` (dotted IPv4) and `port` and starts the response thread (RespProc) and
// the receive thread (ServerRecv). 0 or -1; after -1 the caller runs DeleteServer.
int ServerInit(const char* address, int port);
// Writes one whole frame (1..8192 bytes) under the connection lock. 0 only when all was sent.
int SendFrame(const uint8_t* frame, size_t len);
// Stops both threads (run flag cleared, 1 s to settle, joined) and closes the socket.
void DeleteServer();
// Empties the receive queue (its fill offset back to 0).
void ResetRecvQueue();
// Marks the connection unused without stopping anything (the session context reset), so that
// ServerInit may run again after a failed one.
void ResetServerRun();
