// Answer layouts by function group. Each decoder prints the data fields (from answer byte 6)
// and reports bytes beyond its layout; it returns false when the ID is not one of its group.
#pragma once

#include <cstdint>

#include "AnswerText.h"

namespace funcdecode {

// Fixed-size answers: single values, switches, records at byte 6, router identity.
bool DecodeFixedAnswer(uint16_t id, AnswerText& a);
// Counted lists and length-prefixed data: WANs, ports, WLANs, devices, texts, companion data.
bool DecodeListAnswer(uint16_t id, AnswerText& a);

}  // namespace funcdecode
