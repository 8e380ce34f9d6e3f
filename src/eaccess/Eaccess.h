// The access-time enforcement service.
#pragma once

int StartEaccess();
void StopEaccess();
