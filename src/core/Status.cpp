#include "core/Status.h"

#include <cstdio>

#include "core/Paths.h"

int WritePlugStatus(int code) {
    FILE* fp = fopen(Paths().plugStatus.c_str(), "wb");
    if (!fp) return -1;
    char text[16];
    int n = snprintf(text, sizeof text, "%03d\n", code);
    fwrite(text, 1, static_cast<size_t>(n), fp);
    fclose(fp);
    return 0;
}
