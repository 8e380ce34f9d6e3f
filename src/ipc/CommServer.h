// The companion socket server: one companion at a time on the local stream socket at
// Paths().commServer. The accept thread takes the companion, the client thread reads its frames
// into the request queue, the frame-handling thread (CommRecvHandle) dispatches them and the
// release thread reaps finished client threads.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

extern std::atomic<int> CommRun;         // 1 while the server runs
extern std::atomic<int> InstanceState;   // 1 while a client thread exists (until it is joined)
extern std::atomic<int> InstanceSocket;  // the companion's descriptor, -1 when none
extern std::atomic<int> CommClientReg;   // 1 once a companion has been accepted
extern std::atomic<uint32_t> CommTxSeq;  // last sequence sent
extern std::atomic<uint32_t> CommRxSeq;  // last sequence accepted

// Starts the frame handler, accept and release threads. 0, or -1 on any failure.
int CommServerStart();
// Stops every thread the server started (accept, release, client and frame handler), closes
// and removes the socket and frees the queue, so that the server can be started again.
void CommServerStop();
// Sends the whole buffer to the companion, waiting while its socket is full (at most
// kSendWholeTimeoutMs): `len`, 0 for an empty buffer, -1 without a companion or when the whole
// buffer could not be sent (the connection is then shut down). Called with the send lock held.
int CommServerSend(const uint8_t* buf, size_t len);
// Function-40 frames (the companion's sub-device list) go to this handler, installed once by the
// executable; nullptr restores the default, which logs and drops the list.
using Fn40ListHandler = void (*)(const uint8_t* payload, size_t len);
void SetFn40ListHandler(Fn40ListHandler handler);
// Queue elements the frame handler has finished with, accepted or not (for tests and bench).
unsigned long CommHandledElements();
