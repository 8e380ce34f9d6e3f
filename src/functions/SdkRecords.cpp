#include "functions/SdkRecords.h"

#include <cstring>

#include "core/ByteOrder.h"
#include "functions/FnRequest.h"

// Texts and byte arrays are copied as the SDK filled them; the array members of the packed
// records have byte alignment, so copying them is safe.
#define COPY_OUT(p, off, field) memcpy((p) + (off), (field), sizeof(field))
#define COPY_IN(field, p, off) memcpy((field), (p) + (off), sizeof(field))
// Texts from a request end inside their field, whatever the request held.
#define TEXT_IN(field, p, off) FnFixedText((field), sizeof(field), (p) + (off))

void PutWanCfg(uint8_t* p, const WanCfg& w) {
    PutLe16(p + 0, w.index);
    p[2] = w.enable;
    PutLe16(p + 3, w.vlanId);
    PutLe16(p + 5, w.mtu);
    p[7] = w.connType;
    COPY_OUT(p, 8, w.name);
    COPY_OUT(p, 40, w.pppoeUser);
    COPY_OUT(p, 104, w.pppoePassword);
    COPY_OUT(p, 168, w.mac);
    COPY_OUT(p, 174, w.serviceName);
    PutIpv4(p + 205, w.ip);
    PutIpv4(p + 209, w.mask);
    PutIpv4(p + 213, w.gateway);
    PutIpv4(p + 217, w.dns1);
    PutIpv4(p + 221, w.dns2);
    PutLe16(p + 225, w.linkSpeed);
    p[227] = w.natEnable;
}

void GetWanCfg(const uint8_t* p, WanCfg* w) {
    w->index = GetLe16(p + 0);
    w->enable = p[2];
    w->vlanId = GetLe16(p + 3);
    w->mtu = GetLe16(p + 5);
    w->connType = p[7];
    TEXT_IN(w->name, p, 8);
    TEXT_IN(w->pppoeUser, p, 40);
    TEXT_IN(w->pppoePassword, p, 104);
    COPY_IN(w->mac, p, 168);
    TEXT_IN(w->serviceName, p, 174);
    w->ip = GetIpv4(p + 205);
    w->mask = GetIpv4(p + 209);
    w->gateway = GetIpv4(p + 213);
    w->dns1 = GetIpv4(p + 217);
    w->dns2 = GetIpv4(p + 221);
    w->linkSpeed = GetLe16(p + 225);
    w->natEnable = p[227];
}

void PutSsidCfg(uint8_t* p, const SsidCfg& s) {
    PutLe16(p + 0, s.index);
    COPY_OUT(p, 2, s.ssid);
    COPY_OUT(p, 35, s.password);
    p[100] = s.encrypt;
    p[101] = s.auth;
    p[102] = s.hidden;
    p[103] = s.enable;
    p[104] = s.band;
    p[105] = s.isolate;
    PutLe16(p + 106, s.channel);
    PutLe16(p + 108, s.maxClients);
    PutLe16(p + 110, s.beaconInterval);
    PutIpv4(p + 112, s.guestIp);
    PutIpv4(p + 116, s.guestMask);
}

void GetSsidCfg(const uint8_t* p, SsidCfg* s) {
    s->index = GetLe16(p + 0);
    TEXT_IN(s->ssid, p, 2);
    TEXT_IN(s->password, p, 35);
    s->encrypt = p[100];
    s->auth = p[101];
    s->hidden = p[102];
    s->enable = p[103];
    s->band = p[104];
    s->isolate = p[105];
    s->channel = GetLe16(p + 106);
    s->maxClients = GetLe16(p + 108);
    s->beaconInterval = GetLe16(p + 110);
    s->guestIp = GetIpv4(p + 112);
    s->guestMask = GetIpv4(p + 116);
}

void PutDevCfg(uint8_t* p, const DevCfg& d) {
    COPY_OUT(p, 0, d.mac);
    COPY_OUT(p, 6, d.name);
    p[22] = d.connType;
    p[23] = d.band;
    p[24] = d.mode;
    p[25] = d.accessControl;
    p[26] = d.attribute;
    p[27] = static_cast<uint8_t>(d.rssi);
    PutLe16(p + 28, d.linkRate);
    PutIpv4(p + 30, d.ip);
}

void GetDevCfg(const uint8_t* p, DevCfg* d) {
    COPY_IN(d->mac, p, 0);
    TEXT_IN(d->name, p, 6);
    d->connType = p[22];
    d->band = p[23];
    d->mode = p[24];
    d->accessControl = p[25];
    d->attribute = p[26];
    d->rssi = static_cast<int8_t>(p[27]);
    d->linkRate = GetLe16(p + 28);
    d->ip = GetIpv4(p + 30);
}

void PutLanCfg(uint8_t* p, const LanCfg& l) {
    PutIpv4(p + 0, l.ip);
    PutIpv4(p + 4, l.mask);
    p[8] = l.dhcpEnable;
    p[9] = l.reserved;
    PutLe32(p + 10, l.leaseSec);
}

void PutWlanCfg(uint8_t* p, const WlanCfg& w) {
    PutLe16(p + 0, w.index);
    p[2] = w.band;
    p[3] = w.enable;
    p[4] = w.channel;
    p[5] = w.bandwidth;
    p[6] = w.txPower;
    p[7] = w.ssidNum;
}

void PutAdjWifiDev(uint8_t* p, const AdjWifiDev& a) {
    COPY_OUT(p, 0, a.bssid);
    COPY_OUT(p, 6, a.ssid);
    p[39] = static_cast<uint8_t>(a.rssi);
    p[40] = a.channel;
    p[41] = a.encrypt;
}

void PutCpuCfg(uint8_t* p, const CpuCfg& c) {
    COPY_OUT(p, 0, c.model);
    PutLe16(p + 40, c.freqMhz);
    p[42] = c.cores;
}

void PutMemCfg(uint8_t* p, const MemCfg& m) {
    PutLe32(p + 0, m.sizeKb);
    COPY_OUT(p, 4, m.type);
}

void PutVersion(uint8_t* p, const RouterVersion& v) {
    COPY_OUT(p, 0, v.text);
    COPY_OUT(p, 60, v.date);
}
