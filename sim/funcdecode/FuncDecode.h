// Function calls for people: builds a function-call body from "key=value" arguments and turns an
// answer into readable text. Used by the platform simulator's operator commands and by tests.
//
//   std::vector<uint8_t> body;
//   std::string err;
//   if (EncodeFunctionRequest(45, "dns1=8.8.8.8 dns2=8.8.4.4", &body, &err) != 0) puts(err...);
//   std::string text = DecodeFunctionAnswer(answer, answerLen);
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The whole call body: request tag at 0-1, function ID at 2-3, bytes 4-9 zero, parameters from
// byte 10. `args` are the words after the function ID ("index=1 on=1", name="Living room",
// json={...} takes the rest of the line, hex=0100... gives the parameter bytes raw).
// Returns 0, or -1 with a one-line reason in *error.
int EncodeFunctionRequest(uint16_t id, const std::string& args, std::vector<uint8_t>* out,
                          std::string* error, uint16_t tag = 0);

// The parameter bytes only (what follows byte 9 of the body).
int EncodeFunctionParams(uint16_t id, const std::string& args, std::vector<uint8_t>* params,
                         std::string* error);

// A whole operator line: the function ID first, then its arguments ("45 dns1=8.8.8.8 ...").
int EncodeCallLine(const std::string& line, uint16_t* id, std::vector<uint8_t>* params,
                   std::string* error);

// Readable multi-line text of an answer: header, then every field of the function's answer
// layout by name. Never reads past `len`; a short or malformed answer is described as such.
std::string DecodeFunctionAnswer(const uint8_t* ans, size_t len);

// What a function does ("set DNS servers"), or "" for an ID without a row.
const char* FunctionTitle(uint16_t id);

// The arguments a function takes, e.g. "dns1=<ipv4> dns2=<ipv4>" ("" when none).
std::string FunctionArgsHelp(uint16_t id);
