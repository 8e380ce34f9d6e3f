// Function-call bodies from operator arguments, written with the agent's byte-order helpers.
#include <algorithm>
#include <cstring>

#include "ArgParse.h"
#include "FuncDecode.h"
#include "RequestTable.h"
#include "core/ByteOrder.h"

namespace funcdecode {

namespace {

constexpr size_t kParamStart = 10;
constexpr size_t kMinJsonLen = 2;  // "{}"

std::string Range(Kind kind) {
    switch (kind) {
        case Kind::U8:
            return "<0-255>";
        case Kind::I8:
            return "<-128-127>";
        case Kind::U16:
            return "<0-65535>";
        case Kind::U32:
            return "<0-4294967295>";
        case Kind::U64:
            return "<0-18446744073709551615>";
        case Kind::I64:
            return "<signed 64-bit>";
        case Kind::Ipv4:
            return "<a.b.c.d>";
        case Kind::Mac:
            return "<AA:BB:CC:DD:EE:FF>";
        default:
            return "";
    }
}

std::string Usage(const Field& f) {
    switch (f.kind) {
        case Kind::Text:
        case Kind::CText:
            return std::string(f.name) + "=<text, at most " + std::to_string(f.size - 1) + ">";
        case Kind::LenText:
            return std::string(f.name) + "=<JSON, " + std::to_string(kMinJsonLen) + " to " +
                   std::to_string(f.size) + " bytes>";
        case Kind::Bytes:
            return std::string(f.name) + "=<hex>";
        default:
            return std::string(f.name) + "=" + Range(f.kind);
    }
}

bool PutNumber(const Field& f, const std::string& v, uint8_t* p) {
    uint64_t u = 0;
    int64_t s = 0;
    switch (f.kind) {
        case Kind::U8:
            if (!ParseUnsigned(v, 0xFF, &u)) return false;
            p[0] = static_cast<uint8_t>(u);
            return true;
        case Kind::I8:
            if (!ParseSigned(v, -128, 127, &s)) return false;
            p[0] = static_cast<uint8_t>(static_cast<int8_t>(s));
            return true;
        case Kind::U16:
            if (!ParseUnsigned(v, 0xFFFF, &u)) return false;
            PutLe16(p, static_cast<uint16_t>(u));
            return true;
        case Kind::U32:
            if (!ParseUnsigned(v, 0xFFFFFFFFu, &u)) return false;
            PutLe32(p, static_cast<uint32_t>(u));
            return true;
        case Kind::U64:
            if (!ParseUnsigned(v, UINT64_MAX, &u)) return false;
            PutLe64(p, u);
            return true;
        case Kind::I64:
            if (!ParseSigned(v, INT64_MIN, INT64_MAX, &s)) return false;
            PutLe64(p, static_cast<uint64_t>(s));
            return true;
        default:
            return false;
    }
}

// Writes one field into `buf` (already sized to the fixed part of the parameters); variable
// texts append to it. Returns false when the value does not fit the field.
bool PutValue(const Field& f, size_t at, const std::string& v, std::vector<uint8_t>* buf) {
    uint8_t* p = buf->data() + at;
    bool hasNul = v.find('\0') != std::string::npos;
    switch (f.kind) {
        case Kind::Ipv4: {
            uint32_t ip = 0;
            if (!ParseIpv4(v, &ip)) return false;
            PutIpv4(p, ip);
            return true;
        }
        case Kind::Mac:
            return ParseMac(v, p);
        case Kind::Text:
            if (hasNul || v.size() > f.size - 1) return false;
            memcpy(p, v.data(), v.size());
            return true;
        case Kind::CText:
            if (hasNul || v.size() > f.size - 1) return false;
            buf->resize(at);
            buf->insert(buf->end(), v.begin(), v.end());
            buf->push_back(0);
            return true;
        case Kind::LenText:
            if (v.size() < kMinJsonLen || v.size() > f.size) return false;
            PutLe16(p, static_cast<uint16_t>(v.size()));
            buf->resize(at + 2);
            buf->insert(buf->end(), v.begin(), v.end());
            return true;
        default:
            return PutNumber(f, v, p);
    }
}

std::string Known(const ParamView& v) {
    std::string names;
    for (size_t i = 0; i < v.count; ++i)
        names += std::string(names.empty() ? "" : " ") + v.fields[i].name;
    return names.empty() ? "none besides hex=" : names + ", or hex=";
}

const Field* FindField(const ParamView& v, const std::string& key) {
    for (size_t i = 0; i < v.count; ++i)
        if (key == v.fields[i].name) return &v.fields[i];
    return nullptr;
}

// The raw form: hex= alone gives the parameter bytes as they are.
int EncodeRaw(const std::vector<Arg>& args, std::vector<uint8_t>* params, std::string* error) {
    if (args.size() != 1) {
        *error = "hex= gives the parameters raw and cannot be combined with other arguments";
        return -1;
    }
    if (!ParseHexBytes(args[0].value, params)) {
        *error = "hex=\"" + args[0].value + "\" is not an even number of hexadecimal digits";
        return -1;
    }
    return 0;
}

int EncodeFields(const RequestRow& row, const std::vector<Arg>& args, std::vector<uint8_t>* params,
                 std::string* error) {
    std::string fn = "function " + std::to_string(row.id);
    ParamView v = ParamsOf(row);
    for (const Arg& a : args) {
        if (!FindField(v, a.key)) {
            *error = fn + " has no argument \"" + a.key + "\" (arguments: " + Known(v) + ")";
            return -1;
        }
    }
    size_t end = 0;
    for (size_t i = 0; i < v.count; ++i) {
        const Field& f = v.fields[i];
        end = std::max(end, v.base + f.off + FieldWidth(f) - kParamStart);
    }
    std::vector<uint8_t> buf(end, 0);
    for (size_t i = 0; i < v.count; ++i) {
        const Field& f = v.fields[i];
        const Arg* given = nullptr;
        for (const Arg& a : args)
            if (a.key == f.name) given = &a;
        if (!given) {
            if (v.optional) continue;
            *error = fn + " needs " + Usage(f);
            return -1;
        }
        if (!PutValue(f, v.base + f.off - kParamStart, given->value, &buf)) {
            *error =
                fn + ": bad value " + f.name + "=\"" + given->value + "\", expected " + Usage(f);
            return -1;
        }
    }
    *params = std::move(buf);
    return 0;
}

}  // namespace

}  // namespace funcdecode

using namespace funcdecode;

int EncodeFunctionParams(uint16_t id, const std::string& args, std::vector<uint8_t>* params,
                         std::string* error) {
    std::vector<Arg> parsed;
    if (SplitArgs(args, &parsed, error) != 0) return -1;
    for (const Arg& a : parsed)
        if (a.key == "hex") return EncodeRaw(parsed, params, error);
    const RequestRow* row = FindRequestRow(id);
    if (!row) {
        if (parsed.empty()) {
            params->clear();
            return 0;
        }
        *error = "function " + std::to_string(id) + " has no parameter layout; use hex=";
        return -1;
    }
    return EncodeFields(*row, parsed, params, error);
}

int EncodeFunctionRequest(uint16_t id, const std::string& args, std::vector<uint8_t>* out,
                          std::string* error, uint16_t tag) {
    std::vector<uint8_t> params;
    if (EncodeFunctionParams(id, args, &params, error) != 0) return -1;
    out->assign(kParamStart, 0);
    PutLe16(out->data(), tag);
    PutLe16(out->data() + 2, id);
    out->insert(out->end(), params.begin(), params.end());
    return 0;
}

int EncodeCallLine(const std::string& line, uint16_t* id, std::vector<uint8_t>* params,
                   std::string* error) {
    size_t start = line.find_first_not_of(" \t");
    if (start == std::string::npos) {
        *error = "no function ID";
        return -1;
    }
    size_t end = line.find_first_of(" \t", start);
    std::string word = line.substr(start, end == std::string::npos ? end : end - start);
    uint64_t v = 0;
    if (!ParseUnsigned(word, 0xFFFF, &v)) {
        *error = "function ID \"" + word + "\" is not a number from 0 to 65535";
        return -1;
    }
    *id = static_cast<uint16_t>(v);
    return EncodeFunctionParams(*id, end == std::string::npos ? "" : line.substr(end), params,
                                error);
}

const char* FunctionTitle(uint16_t id) {
    const RequestRow* row = FindRequestRow(id);
    return row ? row->title : "";
}

std::string FunctionArgsHelp(uint16_t id) {
    const RequestRow* row = FindRequestRow(id);
    std::string help;
    if (!row) return help;
    ParamView v = ParamsOf(*row);
    for (size_t i = 0; i < v.count; ++i)
        help += (help.empty() ? "" : " ") + Usage(v.fields[i]);
    return help;
}
