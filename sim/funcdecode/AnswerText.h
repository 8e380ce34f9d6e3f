// Bounded reading and printing of one answer: every access is checked against the received
// length, and the first field that lies beyond it is reported once ("truncated: ...").
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "Fields.h"

namespace funcdecode {

class AnswerText {
public:
    AnswerText(const uint8_t* ans, size_t len) : p_(ans), len_(len) {}

    size_t len() const { return len_; }
    bool cut() const { return cut_; }
    // True when bytes [off, off + n) were received.
    bool Has(size_t off, size_t n) const { return off <= len_ && n <= len_ - off; }
    // Reports the first missing field; later requests are quiet. Returns false.
    bool Need(const std::string& what, size_t off, size_t n);

    uint8_t U8(size_t off) const { return p_[off]; }
    uint16_t U16(size_t off) const;
    uint32_t U32(size_t off) const;

    void Line(int indent, const std::string& name, const std::string& value);
    void Note(const std::string& text) { Line(0, "note", text); }
    // A line of free text under the current field ("  | text").
    void Plain(int indent, const std::string& text);
    // One field at `base` + its offset, or false (and a note) when it was not received.
    bool Field(const funcdecode::Field& f, size_t base, int indent);
    // Every field of a record at `base`, under the heading `label` ("wan", "device[2]").
    bool RecordAt(const Record& r, size_t base, int indent, const std::string& label);
    // A 16-bit or 32-bit count at `countOff`, then records from `first`, bounded by the bytes
    // received. Returns the end of the last record printed.
    size_t List(const Record& r, size_t countOff, size_t countWidth, size_t first, int indent);
    // Bytes after `end`: reported as extra (nothing when the answer stops at `end` or was cut).
    void Extra(size_t end);
    // A hexadecimal dump of [off, off + n), bounded by the answer.
    std::string Hex(size_t off, size_t n) const;
    // Text of [off, off + n) up to its first NUL, quoted, other bytes escaped.
    std::string Quoted(size_t off, size_t n) const;

    std::string Take() { return std::move(out_); }

private:
    std::string Value(const funcdecode::Field& f, size_t at) const;

    const uint8_t* p_;
    size_t len_;
    bool cut_ = false;
    std::string out_;
};

}  // namespace funcdecode
