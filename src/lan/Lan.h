// The three LAN device services started at agent start-up: the online-device report
// (function 39), the sub-device filter (function 40) and the sub-device monitor (function 63).
#pragma once

#include "lan/Fn40.h"
#include "lan/Function39.h"
#include "lan/Subdev.h"
