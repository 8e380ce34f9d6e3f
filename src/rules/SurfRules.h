// Surf (access-time) rules from the platform (function 69): rules are added to and deleted from
// the surf-rule table; a device whose last rule of a day goes gets its access back.
#pragma once

#include "RouterSdk.h"
#include "rules/SurfTable.h"

// 0, 1 no payload, 2 not JSON, 3 to 8 a missing member ("FLAG", "MAC", "DAY", "START", "STOP",
// "ALLOW"), 9 an element whose FLAG or ALLOW is not "0" or "1" (the elements before it are
// applied, it and those after it are not).
int ParseSurfRulesParam(const char* json);

// flag 1 adds, 0 deletes the period start-stop ("h:m") for every weekday digit 1-7 in `days`.
// 0, or -1 when a text is missing. `allow` takes no part.
int CommitSurfRule(int flag, int allow, const char* mac, const char* days, const char* start,
                   const char* stop);

// Adds `rule` under "mac|day". 0.
int set_surf_rule(const char* mac, const char* day, const SurfRule* rule);
// Deletes `rule` from "mac|day"; the last rule's removal restores the device's access and
// removes the entry. 0, or -1 when the key has no entry.
int del_surf_rule(const char* mac, const char* day, const SurfRule* rule);

// Writes `cfg` back with its access-control flag set to `access` (and its mode flag to 1 in run
// mode); logs "set_dev_access_control for: <macText> to <access>". The caller holds SubdevMutex.
void SurfSetAccess(DevCfg cfg, uint8_t access, const char* macText);
