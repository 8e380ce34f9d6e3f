// The companion socket server.
#pragma once

// Starts the server threads. 0 on success, -1 on any failure.
int CommServerStart();
