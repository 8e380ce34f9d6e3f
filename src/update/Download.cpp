// The two transfers of the HTTP client: a download into a file and a download-rate test. Both
// succeed only when exactly the declared Content-Length arrived.
#include "update/Download.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>

#include "core/Clock.h"
#include "core/Log.h"

using limits::kHttpBufSize;

namespace {

// One transfer at a time: the client's state is global.
std::mutex gTransferMu;

struct FileCloser {
    void operator()(FILE* f) const { fclose(f); }
};
using FilePtr = std::unique_ptr<FILE, FileCloser>;

enum class Kind { kDownload, kRate };

// Socket, connect, request and response header. false when no request could be built or sent
// (the download and the rate test log that differently).
bool Exchange(const char* host, int port, const char* path, Kind kind) {
    m_port = port;
    HttpInitState();
    if (!m_bConnected) m_s = socket(AF_INET, SOCK_STREAM, 6);
    if (m_s < 0) m_s = 0;
    HttpConnect(host, port);
    long len = 0;
    char* req = HttpFormatRequestHeader(host, path, &len, nullptr, nullptr);
    if (!req) {
        if (kind == Kind::kDownload) {
            LOGE("req is error.");
        } else {
            LOGE("req error.");
        }
        return false;
    }
    if (m_bConnected) HttpSendRequest(req, len);
    return true;
}

// Finds the declared body length in the stored header; -1 (logged) when the header is unusable.
long long DeclaredLength(Kind kind) {
    int size = 0;
    char* head = HttpGetResponseHeader(&size);
    if (!head) {
        LOGD("head error");
        return -1;
    }
    // The header buffer is not NUL-terminated when it is full.
    char text[kHttpBufSize + 1];
    memcpy(text, head, kHttpBufSize);
    text[size > 0 ? size : 0] = '\0';
    LOGD("head %s", text);
    if (strstr(text, "404 Not Found")) {
        if (kind == Kind::kDownload) {
            LOGD("found");
        } else {
            LOGE("404 Not Found");
        }
        return -1;
    }
    const char* field = strstr(text, "Content-Length:");
    if (!field) {
        LOGE("Can't find Content-Length");
        return -1;
    }
    const char* eol = strstr(field, "\r\n");
    if (!eol) {
        LOGE("Can't find newline and return characters.");
        return -1;
    }
    long distance = eol - field;
    LOGD("lengthlen %ld", distance);
    if (distance >= static_cast<long>(limits::kHttpLengthLineSize)) return -1;
    // A header that filled the buffer without its blank line lost its tail (and with it the
    // start of the body): the declared body can no longer arrive whole.
    if (size < 4 || memcmp(text + size - 4, "\r\n\r\n", 4) != 0) {
        LOGE("http: response header without its blank line (%d bytes)", size);
        return -1;
    }
    char line[limits::kHttpLengthLineSize] = {0};
    memcpy(line, field, static_cast<size_t>(distance));
    long long lens = 0;
    const char* p = line + strlen("Content-Length:");
    while (*p == ' ' || *p == '\t')
        ++p;
    bool digits = false;
    for (; *p >= '0' && *p <= '9'; ++p) {
        digits = true;
        lens = lens * 10 + (*p - '0');
        if (lens > limits::kHttpMaxBodyLen) {
            LOGE("http: Content-Length too large");
            return -1;
        }
    }
    if (!digits) lens = 0;
    LOGD("lens = %lld", lens);
    return lens;
}

// Reads exactly `length` body bytes in pieces of at most 1024, handing each to `sink`. false
// (logged) when the connection ends, fails or stays silent first, or the sink fails.
template <typename Sink>
bool ReadBody(long long length, Sink sink) {
    char buf[kHttpBufSize];
    long long total = 0;
    while (total < length) {
        long long left = length - total;
        long want = left < static_cast<long long>(sizeof buf) ? static_cast<long>(left)
                                                              : static_cast<long>(sizeof buf);
        long n = HttpReceiveIfConnected(buf, want);
        if (n <= 0) {
            LOGE("http: body ended after %lld of %lld bytes", total, length);
            return false;
        }
        if (!sink(buf, static_cast<size_t>(n))) return false;
        total += n;
    }
    return true;
}

}  // namespace

int DownLoadFIle(const char* host, int port, const char* path, const char* localFile) {
    std::lock_guard<std::mutex> g(gTransferMu);
    FilePtr file(localFile ? fopen(localFile, "wb") : nullptr);
    if (!file) {
        LOGD("download filename: %s", localFile ? localFile : "");
        LOGD("can't open local file");
        return -1;
    }
    bool ok = false;
    if (Exchange(host, port, path, Kind::kDownload)) {
        long long length = DeclaredLength(Kind::kDownload);
        if (length > limits::kHttpMinBodyLen && fseek(file.get(), 0, SEEK_SET) == 0) {
            ok = ReadBody(length, [&file](const char* data, size_t n) {
                if (fwrite(data, 1, n, file.get()) == n) return true;
                LOGE("http: write to the local file failed: %s", strerror(errno));
                return false;
            });
        }
    }
    if (fclose(file.release()) != 0 && ok) {
        LOGE("http: closing the local file failed: %s", strerror(errno));
        ok = false;
    }
    HttpCloseSocket();
    return ok ? 0 : -1;
}

int DownTestRateFIle(const char* host, int port, const char* path, const char* /*extra*/) {
    std::lock_guard<std::mutex> g(gTransferMu);
    gDownRate = -1;
    bool ok = false;
    if (Exchange(host, port, path, Kind::kRate)) {
        long long length = DeclaredLength(Kind::kRate);
        if (length > limits::kHttpMinBodyLen) {
            int64_t start = NowSec();
            long long received = 0;
            ok = ReadBody(length, [&received](const char*, size_t n) {
                received += static_cast<long long>(n);
                return true;
            });
            int64_t elapsed = NowSec() - start;
            LOGD("--------------subtime %ld,lens = %lld", static_cast<long>(elapsed), length);
            if (ok) {
                // A body that arrives within the same second counts as one second.
                long long rate = received / (elapsed > 0 ? elapsed : 1);
                gDownRate = rate > 2147483647LL ? 2147483647 : static_cast<int>(rate);
                LOGD("--------------rate %d", gDownRate.load());
            }
        }
    }
    HttpCloseSocket();
    return ok ? 0 : -1;
}
