#include "Store.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "JsonFields.h"
#include "SimControl.h"

namespace sdksim {
namespace {

struct JsonDeleter {
    void operator()(cJSON* p) const { cJSON_Delete(p); }
};
struct FreeDeleter {
    void operator()(char* p) const { cJSON_free(p); }
};
using JsonPtr = std::unique_ptr<cJSON, JsonDeleter>;

// Where the current state came from and the file content it was parsed from.
struct Source {
    JsonPtr root;
    bool fromFile = false;
    std::string path;
    std::string text;        // the file's bytes as last read or written
    std::string lastReport;  // last line printed on stderr, to print each problem once
};

std::mutex g_mutex;
Source g_source;

void Report(const std::string& line) {
    if (line == g_source.lastReport) return;
    g_source.lastReport = line;
    std::fprintf(stderr, "RouterSdk simulator: %s\n", line.c_str());
}

std::string EnvValue(const char* name) {
    const char* v = std::getenv(name);
    return v != nullptr ? std::string(v) : std::string();
}

bool ReadWholeFile(const std::string& path, std::string* out) {
    std::unique_ptr<FILE, int (*)(FILE*)> f(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!f) return false;
    char buf[4096];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f.get())) > 0)
        out->append(buf, n);
    return std::ferror(f.get()) == 0;
}

int LoadDefault() {
    g_source.root.reset(cJSON_Parse(kDefaultStateJson));
    g_source.fromFile = false;
    g_source.path.clear();
    if (!g_source.root) {
        Report("the bundled default state does not parse");
        return kStatusNoState;
    }
    return 0;
}

// Reads the file on every call and parses it again only when its bytes changed: file times are
// too coarse to notice two quick edits of the same size.
int LoadFile(const std::string& path) {
    std::string text;
    if (!ReadWholeFile(path, &text)) {
        g_source.root.reset();
        Report("cannot read state file " + path + ": " + std::strerror(errno));
        return kStatusNoState;
    }
    if (g_source.root && g_source.fromFile && g_source.path == path && g_source.text == text)
        return 0;
    g_source.root.reset();
    JsonPtr root(cJSON_Parse(text.c_str()));
    if (!cJSON_IsObject(root.get())) {
        Report("state file " + path + " is not a JSON object");
        return kStatusNoState;
    }
    g_source.root = std::move(root);
    g_source.fromFile = true;
    g_source.path = path;
    g_source.text = std::move(text);
    g_source.lastReport.clear();
    return 0;
}

// Brings the state up to date with PLUG_SDK_STATE. 0 or kStatusNoState.
int Refresh() {
    std::string path = EnvValue(kStateEnv);
    if (path.empty()) {
        if (g_source.root && !g_source.fromFile) return 0;
        return LoadDefault();
    }
    return LoadFile(path);
}

int InjectedStatus(const char* name) {
    const cJSON* fail = cJSON_GetObjectItemCaseSensitive(g_source.root.get(), "fail");
    if (fail == nullptr) return 0;
    if (!cJSON_IsObject(fail)) {
        Report("fail: expected an object of function name -> status");
        return kStatusNoState;
    }
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(fail, name);
    if (item == nullptr) return 0;
    int64_t v = 0;
    if (!ParseInt(item, INT_MIN + 1, INT_MAX, &v)) {
        Report(std::string("fail.") + name + ": expected an integer status");
        return kStatusNoState;
    }
    return static_cast<int>(v);
}

void AppendCallLog(const std::string& line) {
    std::string path = EnvValue(kCallLogEnv);
    if (path.empty()) return;
    int fd = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0) {
        Report("cannot open call log " + path + ": " + std::strerror(errno));
        return;
    }
    size_t done = 0;
    while (done < line.size()) {
        ssize_t n = write(fd, line.data() + done, line.size() - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            Report("cannot write call log " + path + ": " + std::strerror(errno));
            break;
        }
        done += static_cast<size_t>(n);
    }
    close(fd);
}

bool WriteAll(int fd, const char* data, size_t size) {
    size_t done = 0;
    while (done < size) {
        ssize_t n = write(fd, data + done, size - done);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

// Writes the state to a temporary file beside the state file and renames it over the original.
int SaveFile() {
    std::unique_ptr<char, FreeDeleter> text(cJSON_Print(g_source.root.get()));
    if (!text) {
        Report("cannot print the state");
        return kStatusNoState;
    }
    std::string content = std::string(text.get()) + "\n";
    std::string tmp = g_source.path + ".tmp." + std::to_string(getpid());
    int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    bool ok = fd >= 0 && WriteAll(fd, content.data(), content.size());
    if (fd >= 0 && close(fd) != 0) ok = false;
    if (!ok || rename(tmp.c_str(), g_source.path.c_str()) != 0) {
        Report("cannot write state file " + g_source.path + ": " + std::strerror(errno));
        unlink(tmp.c_str());
        g_source.root.reset();  // read the file again on the next call
        return kStatusNoState;
    }
    g_source.text = std::move(content);
    return 0;
}

}  // namespace

Call::Call(const char* name, const std::string& args) : lock_(g_mutex), name_(name) {
    AppendCallLog(args.empty() ? std::string(name) + "\n" : std::string(name) + " " + args + "\n");
    status_ = Refresh();
    if (status_ == 0) status_ = InjectedStatus(name);
}

cJSON* Call::root() {
    return g_source.root.get();
}

int Call::StateError(const std::string& error) {
    Report(std::string(name_) + ": " + error);
    return kStatusNoState;
}

int Call::Commit() {
    if (!g_source.root) return kStatusNoState;
    return g_source.fromFile ? SaveFile() : 0;
}

std::string LogText(const char* text) {
    if (text == nullptr) return "(null)";
    std::string out = "\"";
    for (const unsigned char* p = reinterpret_cast<const unsigned char*>(text); *p; ++p) {
        if (*p == '"' || *p == '\\') {
            out += '\\';
            out += static_cast<char>(*p);
        } else if (*p < 0x20 || *p > 0x7E) {
            char buf[5];
            std::snprintf(buf, sizeof buf, "\\x%02X", *p);
            out += buf;
        } else {
            out += static_cast<char>(*p);
        }
    }
    return out + "\"";
}

std::string LogMac(const uint8_t* mac) {
    return mac == nullptr ? "(null)" : MacText(mac);
}

}  // namespace sdksim

void RouterSdkSimReset(void) {
    std::lock_guard<std::mutex> lock(sdksim::g_mutex);
    sdksim::g_source = sdksim::Source();
}
