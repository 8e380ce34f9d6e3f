// LAN device services started at agent start-up.
#pragma once

int Fn39Init();     // online-device report
int Fn40Init();     // sub-device filter
int StartSubdev();  // sub-device monitor; non-zero ends the start-up
