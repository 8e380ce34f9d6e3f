// Every function ID's title and request parameters (offsets in the request body).
#pragma once

#include <cstddef>
#include <cstdint>

#include "Fields.h"

namespace funcdecode {

struct RequestRow {
    uint16_t id;
    const char* title;
    const Field* params;  // request offsets
    size_t count;
    const Record* record;  // or a record at request byte 10, whose fields left out are zero
};

// The parameter fields of a row with their request offsets: offset + base.
struct ParamView {
    const Field* fields;
    size_t count;
    size_t base;    // 0 for plain parameters, 10 for a record
    bool optional;  // record fields may be left out; plain parameters are all required
};
ParamView ParamsOf(const RequestRow& row);

// The row of `id`, or nullptr for an ID outside 1-88.
const RequestRow* FindRequestRow(uint16_t id);

}  // namespace funcdecode
