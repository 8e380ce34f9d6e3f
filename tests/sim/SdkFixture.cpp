#include "SdkFixture.h"

#include <cstdlib>
#include <sstream>

namespace sdktest {

cJSON* JsonAt(cJSON* root, const std::string& path) {
    cJSON* item = root;
    size_t pos = 0;
    while (item != nullptr && pos < path.size()) {
        if (path[pos] == '.') ++pos;
        if (path[pos] == '[') {
            size_t close = path.find(']', pos);
            item =
                cJSON_GetArrayItem(item, std::atoi(path.substr(pos + 1, close - pos - 1).c_str()));
            pos = close + 1;
            continue;
        }
        size_t end = path.find_first_of(".[", pos);
        std::string key =
            path.substr(pos, end == std::string::npos ? std::string::npos : end - pos);
        item = cJSON_GetObjectItemCaseSensitive(item, key.c_str());
        pos = end == std::string::npos ? path.size() : end;
    }
    return item;
}

std::string JsonTextAt(cJSON* root, const std::string& path) {
    cJSON* item = JsonAt(root, path);
    if (item == nullptr) return "<absent>";
    char* text = cJSON_PrintUnformatted(item);
    std::string out = text != nullptr ? text : "<unprintable>";
    cJSON_free(text);
    return out;
}

std::string DefaultStateText() {
    return testsupport::ReadFile(PLUG_SDK_DEFAULT_STATE_FILE);
}

void SdkTest::SetUp() {
    statePath_ = dir_.File("state.json");
    logPath_ = dir_.File("calls.log");
    testsupport::WriteFile(statePath_, DefaultStateText());
    setenv("PLUG_SDK_STATE", statePath_.c_str(), 1);
    setenv("PLUG_SDK_CALL_LOG", logPath_.c_str(), 1);
}

void SdkTest::TearDown() {
    unsetenv("PLUG_SDK_STATE");
    unsetenv("PLUG_SDK_CALL_LOG");
}

JsonPtr SdkTest::LoadState() const {
    JsonPtr root(cJSON_Parse(testsupport::ReadFile(statePath_).c_str()));
    EXPECT_NE(root, nullptr) << "state file does not parse";
    return root;
}

void SdkTest::EditState(const std::function<void(cJSON*)>& edit) const {
    JsonPtr root = LoadState();
    ASSERT_NE(root, nullptr);
    edit(root.get());
    char* text = cJSON_Print(root.get());
    testsupport::WriteFile(statePath_, text);
    cJSON_free(text);
}

void SdkTest::SetStateValue(const std::string& parent, const std::string& key,
                            const std::string& json) const {
    EditState([&](cJSON* root) {
        cJSON* obj = parent.empty() ? root : JsonAt(root, parent);
        ASSERT_NE(obj, nullptr) << parent;
        cJSON* value = cJSON_Parse(json.c_str());
        ASSERT_NE(value, nullptr) << json;
        if (cJSON_GetObjectItemCaseSensitive(obj, key.c_str()) != nullptr) {
            cJSON_ReplaceItemInObjectCaseSensitive(obj, key.c_str(), value);
        } else {
            cJSON_AddItemToObject(obj, key.c_str(), value);
        }
    });
}

std::vector<std::string> SdkTest::LogLines() const {
    std::vector<std::string> lines;
    std::istringstream in(testsupport::ReadFile(logPath_));
    std::string line;
    while (std::getline(in, line))
        lines.push_back(line);
    return lines;
}

}  // namespace sdktest
