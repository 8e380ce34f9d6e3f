// Firmware version report: the router's firmware version and date, the agent's version and the
// companion's auto-report configuration, uploaded to the platform as one JSON object.
#pragma once

#include <string>

// The report's JSON text (keys "version", "sdkVersion", "interval1".."interval3", "configed" in
// this order). 0; -1 when get_router_version fails or the object cannot be created; -2 when it
// cannot be printed.
int FwVersionJson(std::string* text);

// Builds the report and uploads it with SendIpUpData as DataType 14 without MAC. 0, -1, -2 as
// FwVersionJson. The upload's own result is logged by the sender, not returned.
int dev_fwversion_report();
