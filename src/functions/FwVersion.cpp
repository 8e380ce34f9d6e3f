#include "functions/FwVersion.h"

#include "core/Log.h"

// The version report is not built yet: it fails honestly.
int dev_fwversion_report() {
    LOGD("firmware version report not built yet");
    return -1;
}
