// The HTTP client's primitives on its global state. Every wait on the socket is bounded by
// kHttpSilenceMs of the clock seam, so a server that accepts and never answers cannot hold the
// calling thread.
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "core/Clock.h"
#include "core/Log.h"
#include "update/Download.h"

using limits::kHttpBufSize;

int m_s = 0;
struct hostent* m_phostent = nullptr;
uint8_t m_bConnected = 0;
char m_ipaddr[limits::kHttpIpAddrSize];
char m_requestheader[kHttpBufSize];
char m_ResponseHeader[kHttpBufSize];
int m_nCurIndex = 0;
uint8_t m_bResponsed = 0;
int m_nResponseHeaderSize = -1;
int m_port = 0;

namespace {

// Storage behind m_phostent (gethostbyname_r keeps the resolver thread-safe).
struct hostent gHostEntry;
char gHostBuf[limits::kHttpHostBufSize];

// Waits until the socket is ready for `events`; false after kHttpSilenceMs or on a poll error.
bool WaitReady(int fd, short events) {
    struct pollfd p;
    p.fd = fd;
    p.events = events;
    for (;;) {
        p.revents = 0;
        int n = poll(&p, 1, static_cast<int>(GetClock().RealTimeoutMs(limits::kHttpSilenceMs)));
        if (n < 0 && errno == EINTR) continue;
        if (n == 0) errno = ETIMEDOUT;
        return n > 0;
    }
}

// A connect that gives up after kHttpSilenceMs; the socket is blocking again afterwards.
bool ConnectWithin(int fd, const struct sockaddr_in& addr) {
    int flags = fcntl(fd, F_GETFL, 0);
    if (flags < 0 || fcntl(fd, F_SETFL, flags | O_NONBLOCK) < 0) return false;
    int r = connect(fd, reinterpret_cast<const struct sockaddr*>(&addr), sizeof addr);
    bool ok = r == 0;
    if (r < 0 && errno == EINPROGRESS && WaitReady(fd, POLLOUT)) {
        int err = 0;
        socklen_t len = sizeof err;
        ok = getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len) == 0 && err == 0;
        if (!ok && err != 0) errno = err;
    }
    int saved = errno;
    fcntl(fd, F_SETFL, flags);
    errno = saved;
    return ok;
}

// Appends `text` to m_requestheader at *used; false when it does not fit.
bool Append(size_t* used, const char* text) {
    size_t n = strlen(text);
    if (*used + n >= kHttpBufSize) return false;
    memcpy(m_requestheader + *used, text, n);
    *used += n;
    return true;
}

bool AppendLine(size_t* used, const char* a, const char* b) {
    return Append(used, a) && Append(used, b) && Append(used, "\r\n");
}

// A request-line or header value must not break the request: no blanks, no control bytes.
bool SafeField(const char* s) {
    for (; *s; ++s) {
        auto c = static_cast<unsigned char>(*s);
        if (c <= ' ' || c == 0x7f) return false;
    }
    return true;
}

// One byte of the response header; false when the connection failed, ended or stayed silent.
bool RecvHeaderByte(char* c) {
    if (!m_bConnected || m_s <= 0) return false;
    if (!WaitReady(m_s, POLLIN)) {
        LOGE("http: no answer for %ld s", limits::kHttpSilenceMs / 1000);
        return false;
    }
    ssize_t n;
    do {
        n = recv(m_s, c, 1, 0);
    } while (n < 0 && errno == EINTR);
    return n == 1;
}

}  // namespace

void HttpInitState() {
    m_s = 0;
    m_phostent = nullptr;
    m_bConnected = 0;
    m_nCurIndex = 0;
    m_bResponsed = 0;
    memset(m_ipaddr, 0, sizeof m_ipaddr);
    memset(m_requestheader, 0, sizeof m_requestheader);
    memset(m_ResponseHeader, 0, sizeof m_ResponseHeader);
    m_nResponseHeaderSize = -1;
}

int HttpSocket() {
    if (m_bConnected) return 0;
    m_s = socket(AF_INET, SOCK_STREAM, 6);
    return m_s == -1 ? 0 : 1;
}

int HttpConnect(const char* host, int port) {
    if (!host) return 0;
    if (m_bConnected) {
        HttpCloseSocket();
        return 0;
    }
    m_port = port;
    struct hostent* result = nullptr;
    int herr = 0;
    if (gethostbyname_r(host, &gHostEntry, gHostBuf, sizeof gHostBuf, &result, &herr) != 0 ||
        !result || result->h_addrtype != AF_INET || !result->h_addr_list[0]) {
        m_phostent = nullptr;
        LOGE("http: cannot resolve %s", host);
        return 0;
    }
    m_phostent = result;
    struct sockaddr_in addr;
    memset(&addr, 0, sizeof addr);
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    memcpy(&addr.sin_addr, m_phostent->h_addr_list[0], sizeof addr.sin_addr);
    if (m_s <= 0 || !ConnectWithin(m_s, addr)) {
        LOGE("http: connect to %s:%d failed: %s", host, port, strerror(errno));
        return 0;
    }
    m_bConnected = 1;
    return 1;
}

char* HttpFormatRequestHeader(const char* host, const char* path, long* outLen, const char* cookie,
                              const char* referer) {
    memset(m_requestheader, 0, sizeof m_requestheader);
    if (outLen) *outLen = 0;
    if (!host || !path || !SafeField(host) || !SafeField(path) || (cookie && !SafeField(cookie)) ||
        (referer && !SafeField(referer))) {
        return nullptr;
    }
    size_t used = 0;
    bool ok = Append(&used, "GET ") && AppendLine(&used, path, " HTTP/1.1") &&
              AppendLine(&used, "Host:", host) &&
              (!referer || AppendLine(&used, "Referer:", referer)) &&
              AppendLine(&used, "Accept:*/*", "") &&
              AppendLine(&used, "User-Agent:Mozilla/4.0 (compatible; MSIE 5.00; Windows 98)", "") &&
              AppendLine(&used, "Connection:Keep-Alive", "") &&
              (!cookie || AppendLine(&used, "Set Cookie:0", cookie)) && Append(&used, "\r\n");
    if (!ok) {
        memset(m_requestheader, 0, sizeof m_requestheader);
        return nullptr;
    }
    if (outLen) *outLen = static_cast<long>(used);
    return m_requestheader;
}

int HttpSendRequest(const char* buf, long len) {
    if (!buf) buf = m_requestheader;
    size_t left = len > 0 ? static_cast<size_t>(len) : strlen(buf);
    while (left > 0) {
        if (m_s <= 0 || !WaitReady(m_s, POLLOUT)) return 0;
        ssize_t n = send(m_s, buf, left, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return 0;
        buf += n;
        left -= static_cast<size_t>(n);
    }
    HttpGetResponseHeader(nullptr);
    return 1;
}

char* HttpGetResponseHeader(int* outSize) {
    if (!m_bResponsed) {
        int count = 0;
        char c = 0;
        while (count < static_cast<int>(kHttpBufSize) && RecvHeaderByte(&c)) {
            m_ResponseHeader[count++] = c;
            if (count > 3 && memcmp(m_ResponseHeader + count - 4, "\r\n\r\n", 4) == 0) break;
        }
        m_bResponsed = 1;
        m_nResponseHeaderSize = count;
    }
    if (outSize) *outSize = m_nResponseHeaderSize;
    return m_ResponseHeader;
}

long HttpReceive(char* buf, long len) {
    if (m_s <= 0 || len <= 0) return -1;
    // Try at once; wait (bounded) only when nothing is buffered yet.
    ssize_t n = recv(m_s, buf, static_cast<size_t>(len), MSG_DONTWAIT);
    while (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
        if (errno != EINTR && !WaitReady(m_s, POLLIN)) {
            LOGE("http: no data for %ld s, giving up", limits::kHttpSilenceMs / 1000);
            break;
        }
        n = recv(m_s, buf, static_cast<size_t>(len), 0);
    }
    if (n <= 0) HttpCloseSocket();
    return static_cast<long>(n);
}

long HttpReceiveIfConnected(char* buf, long len) {
    if (!m_bConnected) return 0;
    return HttpReceive(buf, len);
}

int HttpCloseSocket() {
    if (m_s != 0) {
        if (close(m_s) != 0) return 0;
    }
    m_s = 0;
    m_bConnected = 0;
    return 1;
}

int HttpSetTimeout(int value, int kind) {
    struct timeval tv;
    tv.tv_sec = value;
    tv.tv_usec = 0;
    return setsockopt(m_s, SOL_SOCKET, kind == 0 ? SO_RCVTIMEO : SO_SNDTIMEO, &tv, sizeof tv) == 0
               ? 1
               : 0;
}

int HttpGetResponseLine(char* out, int maxLen) {
    int size = m_nResponseHeaderSize;
    if (!out || maxLen <= 0) return -1;
    out[0] = '\0';
    if (size <= 0 || m_nCurIndex >= size) {
        m_nCurIndex = 0;
        return -1;
    }
    int n = 0;
    while (m_nCurIndex < size && n < maxLen - 1) {
        char c = m_ResponseHeader[m_nCurIndex++];
        out[n++] = c;
        if (c == '\n') break;
    }
    out[n] = '\0';
    return n;
}

int HttpGetServerState() {
    char code[4] = {m_ResponseHeader[9], m_ResponseHeader[10], m_ResponseHeader[11], '\0'};
    return atoi(code);
}

int HttpGetRequestHeader(char* out, int maxLen) {
    if (!out || maxLen <= 0) return 0;
    size_t n = strnlen(m_requestheader, sizeof m_requestheader);
    if (n > static_cast<size_t>(maxLen)) n = static_cast<size_t>(maxLen);
    memcpy(out, m_requestheader, n);
    return static_cast<int>(n);
}
