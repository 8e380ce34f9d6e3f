/*
 * RouterSdk: the router vendor's C library (libRouterSdk.so) as the agent uses it.
 *
 * Conventions of this interface:
 * - Unless a function's comment says otherwise it returns 0 on success and a non-zero status on
 *   failure; the agent passes such a status on as a result code. Records are filled by the
 *   library into caller-supplied storage of the sizes below.
 * - Integers inside records are in the router's host byte order. IPv4 addresses are host-order
 *   32-bit integers: 192.168.1.1 is 0xC0A80101.
 * - Texts are fixed-size, NUL-padded character fields.
 * - List functions fill at most the stated number of records (ROUTER_MAX_*) and store in *num
 *   how many the router has, which may be larger: callers cut the count to what they hold.
 * - Records are packed: every byte position below is part of the interface.
 */
#ifndef ROUTER_SDK_H
#define ROUTER_SDK_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define ROUTER_MAX_WANS 8
#define ROUTER_MAX_WLANS 8
#define ROUTER_MAX_DEVS 128
#define ROUTER_MAX_ADJ_WIFI 64
#define ROUTER_MAX_BLACK 128

#define ROUTER_TEXT_SIZE 64     /* serial number, vendor, model */
#define ROUTER_NAME_SIZE 32     /* router name */
#define ROUTER_ACCOUNT_SIZE 32  /* each service user name and password */
#define ROUTER_PIN_SIZE 12      /* router PIN */
#define ROUTER_DEV_NAME_SIZE 64 /* get_dev_name buffer */

#pragma pack(push, 1)

/* Firmware version: NUL-terminated text at the start, four date bytes at 60-63
 * (for example 22, 12, 27, 5). */
typedef struct {
    char text[60];
    uint8_t date[4];
} RouterVersion;

/* CPU configuration, 43 bytes. */
typedef struct {
    char model[40];   /* +0 */
    uint16_t freqMhz; /* +40 */
    uint8_t cores;    /* +42 */
} CpuCfg;

/* Memory configuration, 20 bytes. */
typedef struct {
    uint32_t sizeKb; /* +0 */
    char type[16];   /* +4 */
} MemCfg;

/* WAN configuration, 228 bytes. */
typedef struct {
    uint16_t index;         /* +0 */
    uint8_t enable;         /* +2 */
    uint16_t vlanId;        /* +3 */
    uint16_t mtu;           /* +5 */
    uint8_t connType;       /* +7: 0 DHCP, 1 static, 2 PPPoE */
    char name[32];          /* +8 */
    char pppoeUser[64];     /* +40 */
    char pppoePassword[64]; /* +104 */
    uint8_t mac[6];         /* +168 */
    char serviceName[31];   /* +174 */
    uint32_t ip;            /* +205 */
    uint32_t mask;          /* +209 */
    uint32_t gateway;       /* +213 */
    uint32_t dns1;          /* +217 */
    uint32_t dns2;          /* +221 */
    uint16_t linkSpeed;     /* +225: Mbps */
    uint8_t natEnable;      /* +227 */
} WanCfg;

/* LAN configuration, 14 bytes. */
typedef struct {
    uint32_t ip;        /* +0 */
    uint32_t mask;      /* +4 */
    uint8_t dhcpEnable; /* +8 */
    uint8_t reserved;   /* +9 */
    uint32_t leaseSec;  /* +10 */
} LanCfg;

/* One WLAN (radio), 8 bytes. */
typedef struct {
    uint16_t index;    /* +0 */
    uint8_t band;      /* +2: 0 2.4 GHz, 1 5 GHz */
    uint8_t enable;    /* +3 */
    uint8_t channel;   /* +4 */
    uint8_t bandwidth; /* +5: 0 20 MHz, 1 40 MHz, 2 80 MHz, 3 160 MHz */
    uint8_t txPower;   /* +6: percent */
    uint8_t ssidNum;   /* +7 */
} WlanCfg;

/* SSID configuration, 120 bytes. */
typedef struct {
    uint16_t index;          /* +0 */
    char ssid[33];           /* +2 */
    char password[65];       /* +35 */
    uint8_t encrypt;         /* +100: 0 open, 1 WPA2-PSK, 2 WPA/WPA2 mixed, 3 WPA3 */
    uint8_t auth;            /* +101 */
    uint8_t hidden;          /* +102 */
    uint8_t enable;          /* +103 */
    uint8_t band;            /* +104 */
    uint8_t isolate;         /* +105 */
    uint16_t channel;        /* +106 */
    uint16_t maxClients;     /* +108 */
    uint16_t beaconInterval; /* +110 */
    uint32_t guestIp;        /* +112: IPv4 */
    uint32_t guestMask;      /* +116: IPv4 */
} SsidCfg;

/* One attached device, 34 bytes. */
typedef struct {
    uint8_t mac[6];        /* +0 */
    char name[16];         /* +6 */
    uint8_t connType;      /* +22: 0 wired, 1 Wi-Fi 2.4 GHz, 2 Wi-Fi 5 GHz */
    uint8_t band;          /* +23 */
    uint8_t mode;          /* +24: mode flag, set to 1 by the agent in run mode */
    uint8_t accessControl; /* +25: 1 access allowed, 0 blocked */
    uint8_t attribute;     /* +26: device attribute byte */
    int8_t rssi;           /* +27 */
    uint16_t linkRate;     /* +28: Mbps */
    uint32_t ip;           /* +30: IPv4 */
} DevCfg;

/* One neighbouring Wi-Fi network, 42 bytes. */
typedef struct {
    uint8_t bssid[6]; /* +0 */
    char ssid[33];    /* +6 */
    int8_t rssi;      /* +39 */
    uint8_t channel;  /* +40 */
    uint8_t encrypt;  /* +41 */
} AdjWifiDev;

#pragma pack(pop)

#ifdef __cplusplus
static_assert(sizeof(RouterVersion) == 64, "version record");
static_assert(sizeof(CpuCfg) == 43, "cpu record");
static_assert(sizeof(MemCfg) == 20, "memory record");
static_assert(sizeof(WanCfg) == 228, "WAN record");
static_assert(sizeof(LanCfg) == 14, "LAN record");
static_assert(sizeof(WlanCfg) == 8, "WLAN record");
static_assert(sizeof(SsidCfg) == 120, "SSID record");
static_assert(sizeof(DevCfg) == 34, "device record");
static_assert(sizeof(AdjWifiDev) == 42, "neighbouring Wi-Fi record");
#endif

/* Identity. */
int get_router_version(RouterVersion* ver);
int get_router_sn(char sn[ROUTER_TEXT_SIZE]);
int get_router_vender(char vendor[ROUTER_TEXT_SIZE]);
int get_router_model(char model[ROUTER_TEXT_SIZE]);
int get_router_mac(uint8_t mac[6]);
int get_router_pin(char pin[ROUTER_PIN_SIZE]);
int get_router_is_plug(uint8_t* isPlug);
int get_router_support_ipv6(uint8_t* support);
int get_cpu_cfg(CpuCfg* cfg);
int get_mem_cfg(MemCfg* cfg);
int get_name(char name[ROUTER_NAME_SIZE]);
int set_name(const char* name);

/* WAN. */
int get_wan_num(uint16_t* num);
int get_wan_cfg(uint16_t index, WanCfg* cfg);
int get_wans_cfg(WanCfg wans[ROUTER_MAX_WANS], uint16_t* num);
int get_wan_tcp_con_num(uint16_t index, uint32_t* num);
int get_wan_udp_con_num(uint16_t index, uint32_t* num);
int get_wan_receive_bytes(uint16_t index, uint64_t* bytes);
int get_wan_con_status(uint16_t index, uint8_t* status);

/* LAN. */
int get_lan_cfg(LanCfg* cfg);
int get_lan_num(uint16_t* num);
int get_lan_port_up_flow(uint16_t port, uint64_t* bytes);
int get_lan_port_down_flow(uint16_t port, uint64_t* bytes);
int get_lan_con_status(uint16_t port, uint8_t* status);
int get_dev_speed(int index, uint16_t* mbps);

/* Wi-Fi. Each *_switch getter returns the switch itself (0 off, 1 on), or a negative status. */
int get_wlans_cfg(WlanCfg wlans[ROUTER_MAX_WLANS], uint16_t* num);
int get_ssid_switch(uint16_t index);
int set_ssid_switch(uint16_t index, uint8_t on);
int get_ssid_cfg(uint16_t index, SsidCfg* cfg);
int set_ssid_cfg(const SsidCfg* cfg);
int get_wifi_radio_switch(void);
int set_wifi_radio_switch(uint8_t on);
int get_wifi_module_status(int module, uint8_t* status);
int get_adj_wifi_devs(AdjWifiDev devs[ROUTER_MAX_ADJ_WIFI], uint16_t* num);
int get_led_switch(void);
int set_led_switch(uint8_t on);
int get_wps_switch(void);
int set_wps_switch(uint8_t on);

/* Services and accounts. */
int get_ftp_switch(uint8_t* on);
int get_sambaenable_switch(uint8_t* on);
int get_telnetenable_switch(uint8_t* on);
int set_ftp_switch(uint8_t on);
int set_sambaenable_switch(uint8_t on);
int set_telnetenable_switch(uint8_t on);
int get_ftp_user(char user[ROUTER_ACCOUNT_SIZE]);
int get_ftp_password(char password[ROUTER_ACCOUNT_SIZE]);
int get_samba_user(char user[ROUTER_ACCOUNT_SIZE]);
int get_samba_password(char password[ROUTER_ACCOUNT_SIZE]);
int get_telnet_user(char user[ROUTER_ACCOUNT_SIZE]);
int get_telnet_password(char password[ROUTER_ACCOUNT_SIZE]);
int set_ftp_user(const char* user);
int set_ftp_password(const char* password);
int set_samba_user(const char* user);
int set_samba_password(const char* password);
int set_telnet_user(const char* user);
int set_telnet_password(const char* password);

/* Attached devices, keyed by MAC. */
int get_devs_cfg(DevCfg devs[ROUTER_MAX_DEVS], uint16_t* num);
int get_dev_cfg(DevCfg* cfg, const uint8_t mac[6]);
int set_dev_access_control(DevCfg cfg);
int get_dev_name(const uint8_t mac[6], char name[ROUTER_DEV_NAME_SIZE]);
int set_dev_name(const uint8_t mac[6], const char* name);
/* Current upstream / downstream rate of a device in bytes per second; 0 when unknown. */
uint64_t get_dev_us_bw(const uint8_t mac[6]);
uint64_t get_dev_ds_bw(const uint8_t mac[6]);
int get_dev_us_max_bw(const uint8_t mac[6], int64_t* limit);
int get_dev_ds_max_bw(const uint8_t mac[6], int64_t* limit);
int set_dev_us_max_bw(const uint8_t mac[6], int64_t limit);
int set_dev_ds_max_bw(const uint8_t mac[6], int64_t limit);
int get_dev_black_list(uint8_t macs[ROUTER_MAX_BLACK][6], uint16_t* num);

/* DNS (host-order IPv4). */
int get_dns(uint32_t* dns1, uint32_t* dns2);
int set_dns(uint32_t dns1, uint32_t dns2);

/* Load, time and flows. */
int get_cpu_use(uint16_t* percent);
int get_mem_use(uint16_t* percent);
int set_full_load_enable(uint16_t index, uint8_t enable);
int sync_time(int64_t seconds);
int get_duration_time(uint64_t* seconds);
/* Current total downstream / upstream rate in bytes per second. */
uint64_t get_flows_down_rate(void);
uint64_t get_flows_up_rate(void);

/* Actions. */
int restart(void);
int set_redirection(uint8_t enable, const char* url);
int update_rom_version(const char* url, const char* md5);
int set_http_test_url(const char* url);

#ifdef __cplusplus
}
#endif

#endif /* ROUTER_SDK_H */
