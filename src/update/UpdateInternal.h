// Pieces of the plug-in data handler shared between its source files.
#pragma once

// Data type 15: the firmware update command, answered with a fixed reply (DataType 17).
int FirmwareUpdateCmd(const char* payload);
// Data type 16: the firmware update file, handed to the companion with function 999.
int FirmwareUpdateFile(const char* payload);
