// One accepted connection of the simulator (I/O thread only).
#pragma once

#include "PlatformSim.h"

namespace psim {

struct PlatformSim::Conn {
    int id = 0;
    int fd = -1;
    Listener server = Listener::kReg;
    FrameCutter cutter;
    Bytes out;  // bytes waiting for the socket to take them
};

inline const char* ServerName(Listener l) {
    return l == Listener::kReg ? "reg" : "login";
}

}  // namespace psim
