// The steps of one sub-device scan: the router's device list with bandwidths, the subnet prefix,
// the ARP-only hosts, the black-list mark, and the function-63 message.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "lan/LanLimits.h"

// One device as reported (45 bytes on the wire).
struct SubdevRecord {
    uint32_t ip;  // host order
    uint8_t mac[6];
    char name[lanlimits::kDevNameField];  // not NUL-terminated when 16 characters long
    uint64_t up;
    uint64_t down;
    uint8_t attached;   // 1 listed by the SDK, 0 found only in the ARP table
    uint8_t allowed;    // 1 allowed, 0 on the black list
    uint8_t attribute;  // SDK record byte 26; 1 for ARP-only hosts
};

struct SubdevTable {
    SubdevRecord rec[lanlimits::kDevTableSize];
    size_t total;
};

enum SubdevStep { kScanOk = 0, kScanRetryNow = 1, kScanRetryLater = -1 };

// Step 2 and 3: the SDK's devices into the table.
SubdevStep GetSdkDevices(SubdevTable* t);
void GetFlowStatisData(SubdevTable* t);
// Step 5: the subnet prefix ("192.168.1.") into `seg`, from the first device or kept from the
// previous scan. false (logged) when none can be found.
bool GetInNetSeg(const SubdevTable& t, char seg[lanlimits::kInNetSegSize]);
// Forgets the previous scan's prefix (at the monitor's start).
void ResetInNetSeg();
void GetOffLineInfo(SubdevTable* t, const char* seg);
void GetBlackInfo(SubdevTable* t);
// The function-63 message: sequence, 63, 0, count, then the records. Empty when the table holds
// more than 128 devices.
std::vector<uint8_t> BuildSubdevMessage(const SubdevTable& t, uint16_t seq);
// Hexadecimal dump in lines of at most 333 characters.
void printHexBuf(const uint8_t* buf, size_t len);
