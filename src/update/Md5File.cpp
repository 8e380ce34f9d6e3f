// MD5 of a file through the crypto seam, read in fixed pieces.
#include <cstdio>
#include <memory>

#include "core/Limits.h"
#include "core/Log.h"
#include "update/PlugUpdate.h"

int Compute_file_md5(const char* path, char out[kMd5HexSize]) {
    out[0] = '\0';
    std::unique_ptr<FILE, int (*)(FILE*)> f(path ? fopen(path, "rb") : nullptr, fclose);
    if (!f) {
        LOGE("fopen");
        return -1;
    }
    Md5Stream md5;
    char piece[limits::kMd5PieceSize];
    for (;;) {
        size_t n = fread(piece, 1, sizeof piece, f.get());
        if (md5.Update(piece, n) != 0) return -1;
        if (n < sizeof piece) break;  // the first short piece (also an empty one) ends the file
    }
    if (ferror(f.get())) {
        LOGE("md5: reading %s failed", path);
        return -1;
    }
    return md5.FinalHex(out);
}
