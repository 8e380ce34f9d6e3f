#include "ipc/CommServer.h"

#include "core/Log.h"
#include "ipc/ComF.h"

// The companion server is not built yet: nothing listens and every request reports "not sent".
int CommServerStart() {
    LOGD("companion server not built yet: no companion can connect");
    return 0;
}

unsigned ComF_send_pluginstate() {
    return 1;
}
unsigned ComF_get_autoreport_conf() {
    return 1;
}
void ComF_send_calibration() {}
