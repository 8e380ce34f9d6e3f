// Firmware version report to the platform.
#pragma once

int dev_fwversion_report();
