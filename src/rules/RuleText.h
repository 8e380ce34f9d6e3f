// Reading the MAC and time texts of the rule payloads the way the product's scanf formats read
// them ("%hhX:%hhX:%hhX:%hhX:%hhX:%hhX", "%d:%d"), with every value kept in range.
#pragma once

#include <cstdint>

// Up to six hexadecimal pairs separated by colons into mac[0..5] (untouched bytes keep their
// value); returns how many were read, 0 when the text does not start with one.
int ScanMac(const char* text, uint8_t mac[6]);

// "hour:minute": returns how many of the two were read; values are held to the 32-bit range.
int ScanTime(const char* text, int32_t* hour, int32_t* minute);

// "%02X:%02X:%02X:%02X:%02X:%02X" into out (18 bytes).
void FormatMac(const uint8_t mac[6], char out[18]);
