#include "core/Config.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "core/Globals.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "core/Paths.h"

namespace {

std::string gConfigPath;

void CopyOut(char* out, size_t size, const char* text) {
    if (!out || size == 0) return;
    size_t n = strlen(text);
    if (n > size - 1) n = size - 1;
    memcpy(out, text, n);
    out[n] = '\0';
}

bool IsCommentLine(const char* line) {
    while (*line == ' ' || *line == '\t')
        ++line;
    return *line == '#';
}

// The value of a key line: after '=', leading blanks skipped, trailing blanks, tabs and line
// ends removed. Writes into `value` (same size as the line buffer).
void ExtractValue(const char* eq, char* value) {
    const char* p = eq + 1;
    while (*p == ' ')
        ++p;
    size_t n = strlen(p);
    while (n > 0 && (p[n - 1] == '\t' || p[n - 1] == '\n' || p[n - 1] == '\r' || p[n - 1] == ' '))
        --n;
    memcpy(value, p, n);
    value[n] = '\0';
}

}  // namespace

void NewProgramProfile(const char* defaultPath) {
    if (l_config_file[0] != '\0' && access(l_config_file, R_OK) == 0) {
        gConfigPath = l_config_file;
        LOGI("use config file  [%s]", gConfigPath.c_str());
    } else if (defaultPath && access(defaultPath, R_OK) == 0) {
        gConfigPath = defaultPath;
        LOGI("use config file  [%s]", gConfigPath.c_str());
    } else {
        gConfigPath = Paths().localConf;
        LOGI("use config file\t[%s]", gConfigPath.c_str());
    }
}

const std::string& ConfigPath() {
    return gConfigPath;
}
void SetConfigPath(const std::string& path) {
    gConfigPath = path;
}

int getKeyValueStr(const char* section, const char* key, const char* defaultStr, char* out,
                   size_t size) {
    FILE* fp = fopen(gConfigPath.c_str(), "r");
    if (!fp) {
        LOGE("Can not fopen(\"%s\").", gConfigPath.c_str());
        if (!defaultStr) {
            LOGE("Not find Key=\"%s\" and no default_str to use.", key);
        } else {
            CopyOut(out, size, defaultStr);
        }
        return -1;
    }

    char line[limits::kConfigLineSize];
    char value[limits::kConfigLineSize];
    bool inside = false;
    bool found = false;
    while (fgets(line, sizeof line, fp)) {
        if (IsCommentLine(line)) continue;
        if (strchr(line, '[')) {
            if (inside) break;
            inside = strstr(line, section) != nullptr;
            continue;
        }
        if (!inside || !strstr(line, key)) continue;
        const char* eq = strchr(line, '=');
        if (!eq) break;
        ExtractValue(eq, value);
        if (value[0] != '\0') {
            CopyOut(out, size, value);
            found = true;
        }
    }
    fclose(fp);

    if (found) return 0;
    if (defaultStr) {
        CopyOut(out, size, defaultStr);
        return 0;
    }
    LOGE("Not find Key=\"%s\" and no default_str to use.", key);
    return -1;
}
