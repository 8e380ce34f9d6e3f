// The HTTP/1.1 download client: one GET over plain TCP, no TLS, no redirects, no chunked bodies;
// a response without Content-Length is refused. There is one client in the process, its state
// is global, and the two transfers (DownLoadFIle, DownTestRateFIle) take a lock so that only one
// runs at a time. Connect and every read give up after 30 s of silence (clock seam).
#pragma once

#include <netdb.h>

#include <cstdint>

#include "core/Limits.h"
#include "functions/ParseJson.h"  // gDownRate, the result of the last rate test (-1: none known)

// Downloads http://host:port/path into localFile, streaming the body in 1024-byte pieces. 0 when
// exactly the declared Content-Length (above 1024 bytes) was received and written, -1 otherwise
// (the file stays on disk, empty or partly written).
int DownLoadFIle(const char* host, int port, const char* path, const char* localFile);
// Reads http://host:port/path, discards the body and stores bytes per second in gDownRate.
// `extra` is accepted and ignored. 0 when a rate was measured, -1 otherwise.
int DownTestRateFIle(const char* host, int port, const char* path, const char* extra);

// The client's state. Only the primitives below and the two transfers touch it.
extern int m_s;                     // socket descriptor; 0 means none
extern struct hostent* m_phostent;  // host entry of the last name resolution
extern uint8_t m_bConnected;        // 1 while the socket is connected
extern char m_ipaddr[limits::kHttpIpAddrSize];
extern char m_requestheader[limits::kHttpBufSize];
extern char m_ResponseHeader[limits::kHttpBufSize];
extern int m_nCurIndex;  // read cursor of HttpGetResponseLine
extern uint8_t m_bResponsed;
extern int m_nResponseHeaderSize;  // -1 when no header was read
extern int m_port;

// Client primitives. The 1 / 0 results are "done" / "not done".
void HttpInitState();
int HttpSocket();
int HttpConnect(const char* host, int port);
// Builds the request header in m_requestheader and its length in *outLen. nullptr when the host
// or path holds a blank or control byte or the header would not fit in 1024 bytes.
char* HttpFormatRequestHeader(const char* host, const char* path, long* outLen, const char* cookie,
                              const char* referer);
int HttpSendRequest(const char* buf, long len);
// Reads the response header (once) byte by byte up to "\r\n\r\n", at most 1024 bytes, stopping
// early when the connection fails or stays silent. Its size goes into *outSize.
char* HttpGetResponseHeader(int* outSize);
// One receive of at most `len` bytes: the count, or 0 / -1 when the connection ended, failed or
// stayed silent for 30 s; those close the socket.
long HttpReceive(char* buf, long len);
long HttpReceiveIfConnected(char* buf, long len);
int HttpCloseSocket();
// `value` in seconds; kind 0 sets the receive time-out, any other the send time-out.
int HttpSetTimeout(int value, int kind);
// The next header line (with its "\n") into out, NUL-terminated, at most maxLen - 1 bytes; -1
// (cursor back to 0) at the header's end.
int HttpGetResponseLine(char* out, int maxLen);
int HttpGetServerState();
// Copies min(strlen(m_requestheader), maxLen) bytes, without a terminator.
int HttpGetRequestHeader(char* out, int maxLen);
