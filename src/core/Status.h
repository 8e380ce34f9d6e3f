// The status file: three digits and a line feed, rewritten at every change.
#pragma once

// 0 on success, -1 when the file cannot be opened.
int WritePlugStatus(int code);
