#include "SimPlugData.h"

#include <cjson/cJSON.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <sstream>

#include "platform/Crypto.h"

namespace psim {

namespace {

struct Field {
    const char* key;
    const char* value;
    bool number;
};

struct Kind {
    const char* name;
    int dataType;
    std::vector<Field> fields;
};

const std::vector<Kind>& Kinds() {
    static const std::vector<Kind> kKinds = {
        {"update-cmd",
         1,
         {{"pluginID", "PLUGIN-0001", false},
          {"fromVersion", "2.0.0.7", false},
          {"toVersion", "2.0.0.8", false}}},
        {"plugin-update",
         2,
         {{"pluginID", "PLUGIN-0001", false},
          {"fromVersion", "2.0.0.7", false},
          {"toVersion", "2.0.0.8", false},
          {"url", "http://127.0.0.1:8080/plugagent", false},
          {"fileLength", "0", true},
          {"fileMD5", "00000000000000000000000000000000", false},
          {"token", "TOKEN", false}}},
        {"online", 4, {{"result", "0", true}}},
        {"vip", 5, {{"mac", "A1B2C3D4E5F6", false}}},
        {"recog", 6, {{"mac", "A1B2C3D4E5F6", false}, {"result", "1", true}}},
        {"rerecog", 7, {{"mac", "A1B2C3D4E5F6", false}}},
        {"route",
         9,
         {{"FLAG", "1", false},
          {"PRE_IP", "192.168.1.1", false},
          {"PRE_PORT", "8080", false},
          {"POST_IP", "192.168.1.100", false},
          {"POST_PORT", "80", false}}},
        {"fw-cmd", 15, {{"fromVersion", "1.0.0", false}, {"toVersion", "1.0.1", false}}},
        {"fw-file",
         16,
         {{"fromVersion", "1.0.0", false},
          {"toVersion", "1.0.1", false},
          {"url", "http://127.0.0.1:8080/firmware.bin", false},
          {"fileLength", "1048576", true},
          {"checkMethod", "md5", false},
          {"chkSum", "00000000000000000000000000000000", false}}},
        {"fn40-interval", 18, {{"func40Interval", "1", true}}},
    };
    return kKinds;
}

bool FileDigest(const std::string& path, std::string* md5, std::string* length) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::stringstream ss;
    ss << in.rdbuf();
    std::string data = ss.str();
    char hex[kMd5HexSize];
    if (Md5Hex(data.data(), data.size(), hex) != 0) return false;
    *md5 = hex;
    *length = std::to_string(data.size());
    return true;
}

}  // namespace

const char* PlugDataKinds() {
    return "update-cmd plugin-update online vip recog rerecog route fw-cmd fw-file fn40-interval";
}

bool BuildPlugData(const std::string& kind, const std::vector<std::string>& args, int* dataType,
                   std::string* json, std::string* error) {
    const Kind* k = nullptr;
    for (const Kind& c : Kinds())
        if (kind == c.name) k = &c;
    if (!k) {
        *error = "unknown kind " + kind + " (" + PlugDataKinds() + ")";
        return false;
    }
    std::vector<Field> fields = k->fields;
    std::vector<std::string> owned;  // keeps the texts of replaced values alive
    owned.reserve(args.size() * 2 + 2);
    for (const std::string& a : args) {
        if (!a.empty() && a[0] == '-') {
            std::string key = a.substr(1);
            for (auto it = fields.begin(); it != fields.end();)
                it = key == it->key ? fields.erase(it) : it + 1;
            continue;
        }
        size_t eq = a.find('=');
        if (eq == std::string::npos) {
            *error = "argument " + a + " is not name=value or -name";
            return false;
        }
        std::string key = a.substr(0, eq), value = a.substr(eq + 1);
        if (key == "file" && k->dataType == 2) {
            std::string md5, length;
            if (!FileDigest(value, &md5, &length)) {
                *error = "cannot read " + value;
                return false;
            }
            owned.push_back(md5);
            const char* md5p = owned.back().c_str();
            owned.push_back(length);
            const char* lenp = owned.back().c_str();
            for (Field& f : fields) {
                if (std::string(f.key) == "fileMD5") f.value = md5p;
                if (std::string(f.key) == "fileLength") f.value = lenp;
            }
            continue;
        }
        owned.push_back(key);
        const char* keyp = owned.back().c_str();
        owned.push_back(value);
        const char* valuep = owned.back().c_str();
        bool found = false;
        for (Field& f : fields) {
            if (key == f.key) {
                f.value = valuep;
                found = true;
            }
        }
        if (!found) fields.push_back({keyp, valuep, false});
    }
    std::unique_ptr<cJSON, decltype(&cJSON_Delete)> root(cJSON_CreateObject(), cJSON_Delete);
    for (const Field& f : fields) {
        if (f.number) {
            cJSON_AddNumberToObject(root.get(), f.key, strtod(f.value, nullptr));
        } else {
            cJSON_AddStringToObject(root.get(), f.key, f.value);
        }
    }
    char* text = cJSON_PrintUnformatted(root.get());
    if (!text) {
        *error = "json not built";
        return false;
    }
    *json = text;
    cJSON_free(text);
    *dataType = k->dataType;
    return true;
}

}  // namespace psim
