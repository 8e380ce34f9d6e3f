#include "eaccess/Eaccess.h"

#include "core/Log.h"

// The access-time service is not built yet: it says so once and starts nothing.
int StartEaccess() {
    LOGD("access-time service not built yet");
    return 0;
}

void StopEaccess() {}
