// The field model shared by the request encoder and the answer decoder: a field has a name (the
// argument key an operator types and the label the decoder prints), a byte offset and a kind.
#pragma once

#include <cstddef>
#include <cstdint>

namespace funcdecode {

enum class Kind {
    U8,
    I8,
    U16,
    U32,
    U64,
    I64,
    Ipv4,     // 32-bit, reversed unconditionally (network order on the wire)
    Mac,      // 6 bytes
    Text,     // fixed-size NUL-padded field of `size` bytes
    CText,    // NUL-terminated text of at most `size` - 1 characters, ends the parameters
    LenText,  // 16-bit length, then that many text bytes (no NUL); `size` = longest text
    Bytes,    // `size` raw bytes
};

struct Field {
    const char* name;
    size_t off;
    Kind kind;
    size_t size;  // Text, CText, LenText, Bytes; 0 for the others
};

struct Record {
    const char* name;  // label of one record in a list ("wan", "device", ...)
    size_t size;
    const Field* fields;
    size_t count;
};

// Bytes a field occupies (CText and LenText: their fixed part only).
size_t FieldWidth(const Field& f);

extern const Record kWanRecord;   // 228 bytes
extern const Record kSsidRecord;  // 120 bytes
extern const Record kDevRecord;   // 34 bytes
extern const Record kLanRecord;   // 14 bytes
extern const Record kWlanRecord;  // 8 bytes
extern const Record kAdjRecord;   // 42 bytes

}  // namespace funcdecode
