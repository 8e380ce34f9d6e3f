// Every function ID's title and request parameters (offsets in the request body).
#pragma once

#include <cstddef>
#include <cstdint>

#include "Fields.h"

namespace funcdecode {

struct RequestSpec {
    uint16_t id;
    const char* title;
    const Field* params;  // offsets relative to `base`
    size_t count;
    size_t base;    // request offset of the parameter block (10) or of a record (10)
    bool optional;  // record fields: any left out are zero; otherwise every field is required
};

// The row of `id`, or nullptr for an ID outside 1-88.
const RequestSpec* FindRequestSpec(uint16_t id);

}  // namespace funcdecode
