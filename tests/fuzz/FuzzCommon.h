// What every harness shares: the entry point with its one-time set-up (logging off), inputs
// copied to heap buffers of exactly their size so AddressSanitizer sees a read past the end, a
// private scratch directory and files written from input bytes.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "core/Log.h"

namespace fuzz {

using Buf = std::unique_ptr<uint8_t[]>;

// `size` bytes of `data` followed by `extra` zero bytes (never an empty allocation).
inline Buf Copy(const uint8_t* data, size_t size, size_t extra = 0) {
    Buf b(new uint8_t[size + extra > 0 ? size + extra : 1]());
    if (size) memcpy(b.get(), data, size);
    return b;
}

// A private directory for the files a harness writes on every input: in memory (/dev/shm) where
// the machine has it, since creating and truncating a file on a disk file system costs more
// than the parsing under test.
inline std::string ScratchDir() {
    char shm[] = "/dev/shm/plugfuzz-XXXXXX";
    if (mkdtemp(shm)) return shm;
    char dir[] = "/tmp/plugfuzz-XXXXXX";
    if (!mkdtemp(dir)) abort();
    return dir;
}

inline void WriteFile(const std::string& path, const uint8_t* bytes, size_t size) {
    FILE* f = fopen(path.c_str(), "wb");
    if (!f) abort();
    if (size) fwrite(bytes, 1, size, f);
    fclose(f);
}

// The libFuzzer entry: `init` once, then `one(data, size)` for inputs of at least `minSize`.
template <typename Init, typename One>
int Run(const uint8_t* data, size_t size, size_t minSize, Init init, One one) {
    static bool once = (SetLogMask(0), init(), true);
    (void)once;
    if (size >= minSize) one(data, size);
    return 0;
}

}  // namespace fuzz
