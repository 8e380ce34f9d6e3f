#include "lan/Fn40.h"

#include "core/ByteOrder.h"
#include "core/Log.h"

// The sub-device filter is not built yet: the list is logged and dropped.
void Fn40Handle(const uint8_t* payload, size_t len) {
    int entries = len >= 2 ? GetField16(payload) : -1;
    LOGE("sub-device filter not built yet: dropped %d entries, length %d", entries,
         static_cast<int>(len));
}
