// Requests to the companion process. Each returns the companion's status byte (0 success) or 1
// when the command could not be sent or no answer came in time.
#pragma once

unsigned ComF_send_pluginstate();
unsigned ComF_get_autoreport_conf();
void ComF_send_calibration();
