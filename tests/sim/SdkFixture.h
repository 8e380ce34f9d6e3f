// Fixture for the router SDK simulator tests: a private copy of the bundled state and a call log
// in a temporary directory, named through the library's environment variables.
#pragma once

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "RouterSdk.h"
#include "TestSupport.h"

namespace sdktest {

struct JsonDeleter {
    void operator()(cJSON* p) const { cJSON_Delete(p); }
};
using JsonPtr = std::unique_ptr<cJSON, JsonDeleter>;

// The member at a path such as "ssids[1].enable" or "identity.cpu.cores"; nullptr when absent.
cJSON* JsonAt(cJSON* root, const std::string& path);
// Its compact JSON text ("\"Attic\"", "1", "[1,2]"); "<absent>" when absent.
std::string JsonTextAt(cJSON* root, const std::string& path);

class SdkTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // The state file parsed as it is on disk now.
    JsonPtr LoadState() const;
    // Rewrites the state file after `edit` changed its tree.
    void EditState(const std::function<void(cJSON*)>& edit) const;
    // Replaces a member (given by path to its parent object and key) with a JSON text value.
    void SetStateValue(const std::string& parent, const std::string& key,
                       const std::string& json) const;
    std::vector<std::string> LogLines() const;

    testsupport::TempDir dir_;
    std::string statePath_;
    std::string logPath_;
};

// The bundled default state file's text.
std::string DefaultStateText();

}  // namespace sdktest
