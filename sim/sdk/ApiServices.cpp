// FTP, Samba and Telnet services of the simulated router: the "services" section.
#include "Api.h"

using namespace sdksim;

namespace {

constexpr const char* kFtp = "services.ftp";
constexpr const char* kSamba = "services.samba";
constexpr const char* kTelnet = "services.telnet";
constexpr size_t kAccountMax = ROUTER_ACCOUNT_SIZE - 1;

std::string Arg(unsigned v) {
    return std::to_string(v);
}

}  // namespace

extern "C" {

int get_ftp_switch(uint8_t* on) {
    Call call("get_ftp_switch", "");
    return ReadFlag(call, kFtp, "enable", on);
}

int get_sambaenable_switch(uint8_t* on) {
    Call call("get_sambaenable_switch", "");
    return ReadFlag(call, kSamba, "enable", on);
}

int get_telnetenable_switch(uint8_t* on) {
    Call call("get_telnetenable_switch", "");
    return ReadFlag(call, kTelnet, "enable", on);
}

int set_ftp_switch(uint8_t on) {
    Call call("set_ftp_switch", Arg(on));
    return WriteFlag(call, kFtp, "enable", on);
}

int set_sambaenable_switch(uint8_t on) {
    Call call("set_sambaenable_switch", Arg(on));
    return WriteFlag(call, kSamba, "enable", on);
}

int set_telnetenable_switch(uint8_t on) {
    Call call("set_telnetenable_switch", Arg(on));
    return WriteFlag(call, kTelnet, "enable", on);
}

int get_ftp_user(char user[ROUTER_ACCOUNT_SIZE]) {
    Call call("get_ftp_user", "");
    return ReadText(call, kFtp, "user", user, ROUTER_ACCOUNT_SIZE);
}

int get_ftp_password(char password[ROUTER_ACCOUNT_SIZE]) {
    Call call("get_ftp_password", "");
    return ReadText(call, kFtp, "password", password, ROUTER_ACCOUNT_SIZE);
}

int get_samba_user(char user[ROUTER_ACCOUNT_SIZE]) {
    Call call("get_samba_user", "");
    return ReadText(call, kSamba, "user", user, ROUTER_ACCOUNT_SIZE);
}

int get_samba_password(char password[ROUTER_ACCOUNT_SIZE]) {
    Call call("get_samba_password", "");
    return ReadText(call, kSamba, "password", password, ROUTER_ACCOUNT_SIZE);
}

int get_telnet_user(char user[ROUTER_ACCOUNT_SIZE]) {
    Call call("get_telnet_user", "");
    return ReadText(call, kTelnet, "user", user, ROUTER_ACCOUNT_SIZE);
}

int get_telnet_password(char password[ROUTER_ACCOUNT_SIZE]) {
    Call call("get_telnet_password", "");
    return ReadText(call, kTelnet, "password", password, ROUTER_ACCOUNT_SIZE);
}

int set_ftp_user(const char* user) {
    Call call("set_ftp_user", LogText(user));
    return WriteText(call, kFtp, "user", user, kAccountMax);
}

int set_ftp_password(const char* password) {
    Call call("set_ftp_password", LogText(password));
    return WriteText(call, kFtp, "password", password, kAccountMax);
}

int set_samba_user(const char* user) {
    Call call("set_samba_user", LogText(user));
    return WriteText(call, kSamba, "user", user, kAccountMax);
}

int set_samba_password(const char* password) {
    Call call("set_samba_password", LogText(password));
    return WriteText(call, kSamba, "password", password, kAccountMax);
}

int set_telnet_user(const char* user) {
    Call call("set_telnet_user", LogText(user));
    return WriteText(call, kTelnet, "user", user, kAccountMax);
}

int set_telnet_password(const char* password) {
    Call call("set_telnet_password", LogText(password));
    return WriteText(call, kTelnet, "password", password, kAccountMax);
}

}  // extern "C"
