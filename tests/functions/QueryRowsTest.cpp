// Queries against the simulated router: request bytes in, answer bytes out. Every expected
// answer is written from the documented layout and the test state's values.
#include <gtest/gtest.h>

#include "FnTestSupport.h"
#include "core/SubdevMutex.h"
#include "platform/Protool.h"

namespace {

using fntest::Bytes;
using fntest::Hex;
using fntest::Image;
using fntest::Request;

struct QueryCase {
    const char* name;
    Bytes request;
    Bytes answer;
};

// Answer header for function `id` with result code 0.
Image Head(size_t len, uint8_t id) {
    return Image(len).At(0, {0xAB, 0xCD, id, 0x00, 0x00, 0x00});
}

const Bytes kPhoneMac = Hex("3C 22 FB 91 0A 11");

Bytes WanZeroRecordAnswer() {
    return Head(234, 3)
        .At(6, Hex("00 00 01 02 01 D4 05 02"))  // index 0, enable, VLAN 258, MTU 1492, PPPoE
        .Text(6 + 8, "INTERNET")
        .Text(6 + 40, "u")
        .Text(6 + 104, "p")
        .At(6 + 168, Hex("00 1A 2B 3C 4D 5F"))
        .At(6 + 205, Hex("64 40 17 07  FF FF FF FF  64 40 00 01  08 08 08 08  08 08 04 04"))
        .At(6 + 225, Hex("E8 03 01"))  // link speed 1000, NAT
        .bytes;
}

Bytes SsidZeroAnswer() {
    return Head(126, 16)
        .At(6, Hex("00 00"))
        .Text(6 + 2, "Home")
        .Text(6 + 35, "secret")
        .At(6 + 100, Hex("02 01 00 01 00 00  06 00  20 00  64 00  C0 A8 64 01  FF FF FF 00"))
        .bytes;
}

Bytes PhoneRecord() {
    return Image(34)
        .At(0, kPhoneMac)
        .Text(6, "phone")
        .At(22, Hex("02 01 00 01 01 D0 62 03 C0 A8 01 64"))
        .bytes;
}

std::vector<QueryCase> Cases() {
    return {
        {"version", Request(1), Head(70, 1).Text(6, "V1.2").At(66, Hex("16 0C 1B 05")).bytes},
        {"wan0", Request(3, Hex("00 00")), WanZeroRecordAnswer()},
        {"tcp", Request(5, Hex("00 00")), Head(10, 5).At(6, Hex("39 00 00 00")).bytes},
        {"udp", Request(6, Hex("00 00")), Head(10, 6).At(6, Hex("04 03 02 01")).bytes},
        {"rx bytes", Request(7, Hex("00 00")),
         Head(14, 7).At(6, Hex("08 07 06 05 04 03 02 01")).bytes},
        {"lan", Request(10),
         Head(20, 10).At(6, Hex("C0 A8 01 01 FF FF FF 00 01 00 80 51 01 00")).bytes},
        {"lan num", Request(11), Head(8, 11).At(6, Hex("02 00")).bytes},
        {"lan flows", Request(12),
         Head(40, 12)
             .At(6, Hex("02 00"))
             .At(8, Hex("02 01 00 00 00 00 00 00  08 07 06 05 04 03 02 01"))
             .At(24, Hex("00 00 00 00 00 00 00 00  01 00 00 00 00 00 00 00"))
             .bytes},
        {"wlans", Request(13),
         Head(24, 13).At(6, Hex("02 00  00 00 00 01 06 01 64 02  01 00 01 01 95 02 50 01")).bytes},
        {"ssid switch on", Request(14, Hex("00 00")), Head(7, 14).At(6, {0x01}).bytes},
        {"ssid switch off", Request(14, Hex("01 00")), Head(7, 14).bytes},
        {"ssid cfg", Request(16, Hex("00 00")), SsidZeroAnswer()},
        {"radio", Request(18), Head(7, 18).At(6, {0x01}).bytes},
        {"fixed 20", Request(20), Head(27, 20).At(26, {0x01}).bytes},
        {"fixed 21", Request(21), Head(6, 21).bytes},
        {"led", Request(22), Head(7, 22).bytes},
        {"fixed 24", Request(24), Head(27, 24).At(26, {0x01}).bytes},
        {"fixed 25", Request(25), Head(6, 25).bytes},
        {"services", Request(26), Head(9, 26).At(6, Hex("00 01 01")).bytes},
        {"accounts", Request(28),
         Head(198, 28)
             .Text(6, "ftpuser")
             .Text(38, "ftp-pass")
             .Text(70, "share")
             .Text(102, "smb")
             .Text(134, "admin")
             .Text(166, "tel")
             .bytes},
        {"wps", Request(30), Head(7, 30).At(6, {0x01}).bytes},
        {"dev bandwidth", Request(33, kPhoneMac),
         Head(22, 33).At(6, Hex("E0 2E 00 00 00 00 00 00  30 57 05 00 00 00 00 00")).bytes},
        {"dev limits", Request(34, kPhoneMac),
         Head(22, 34).At(6, Hex("00 C8 00 00 00 00 00 00  00 00 10 00 00 00 00 00")).bytes},
        {"dev name", Request(36, kPhoneMac),
         Head(13, 36).At(6, Hex("05 00")).Text(8, "phone").bytes},
        {"known name", Request(36, Hex("B8 27 EB 12 34 56")),
         Head(15, 36).At(6, Hex("07 00")).Text(8, "printer").bytes},
        {"dev cfg", Request(38, kPhoneMac), Head(40, 38).At(6, PhoneRecord()).bytes},
        {"devs", Request(39), Head(42, 39).At(6, Hex("01 00")).At(8, PhoneRecord()).bytes},
        {"speeds", Request(41), Head(12, 41).At(6, Hex("E8 03 64 00 0A 00")).bytes},
        {"adj wifi", Request(42),
         Head(52, 42)
             .At(6, Hex("01 00 00 00  C8 3A 35 10 22 01"))
             .Text(16, "Tenda")
             .At(49, Hex("C3 01 01"))
             .bytes},
        {"black list", Request(43), Head(14, 43).At(6, Hex("01 00 DC A6 32 01 66 05")).bytes},
        {"dns", Request(44), Head(14, 44).At(6, Hex("CA 60 80 56 CA 60 86 85")).bytes},
        {"cpu", Request(47), Head(8, 47).At(6, Hex("11 00")).bytes},
        {"mem", Request(48), Head(8, 48).At(6, Hex("2B 00")).bytes},
        {"overview", Request(49),
         Head(18, 49).At(6, Hex("02 00 01 00  02 00 01 00  01 00 01 01")).bytes},
        {"duration", Request(54), Head(14, 54).At(6, Hex("05 CB 02 00 00 00 00 00")).bytes},
        {"flows", Request(58),
         Head(22, 58).At(6, Hex("B0 EA 00 00 00 00 00 00  68 CB 2B 00 00 00 00 00")).bytes},
        {"pin", Request(60), Head(18, 60).Text(6, "12345678").bytes},
    };
}

TEST(QueryRows, AnswersMatchTheDocumentedLayouts) {
    fntest::SimRouter router;
    for (const QueryCase& c : Cases()) {
        SCOPED_TRACE(c.name);
        fntest::Answer a = fntest::Call(c.request);
        EXPECT_EQ(0, a.ret);
        EXPECT_EQ(c.answer, a.bytes);
    }
}

TEST(QueryRows, IdentityIsExactly301BytesWithTheRouterMacAt6) {
    fntest::SimRouter router;
    const uint8_t mac[6] = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
    SetRouteMac(mac);
    Bytes want = Head(301, 2)
                     .At(6, Hex("02 11 22 33 44 55"))
                     .Text(12, "SN42")
                     .Text(76, "Acme")
                     .Text(140, "R1")
                     .Text(204, "A53")
                     .At(244, Hex("14 05 04  00 00 04 00"))
                     .Text(251, "DDR3")
                     .At(267, {0x01})
                     .Text(268, "home")
                     .At(300, {0x01})
                     .bytes;
    fntest::Answer a = fntest::Call(Request(2));
    EXPECT_EQ(0, a.ret);
    ASSERT_EQ(301u, a.bytes.size());
    EXPECT_EQ(want, a.bytes);
}

TEST(QueryRows, AllWansAreCountedAndConvertedLikeOne) {
    fntest::SimRouter router;
    fntest::Answer a = fntest::Call(Request(4));
    ASSERT_EQ(8u + 2 * 228, a.bytes.size());
    EXPECT_EQ(Hex("AB CD 04 00 00 00 02 00"), Bytes(a.bytes.begin(), a.bytes.begin() + 8));
    Bytes first = WanZeroRecordAnswer();
    EXPECT_EQ(Bytes(first.begin() + 6, first.end()),
              Bytes(a.bytes.begin() + 8, a.bytes.begin() + 8 + 228));
    // second WAN: index 1, VLAN 45, IPv4 10.20.30.40 reversed
    EXPECT_EQ(Hex("01 00 00 2D 00 DC 05 00"), Bytes(a.bytes.begin() + 236, a.bytes.begin() + 244));
    EXPECT_EQ(Hex("0A 14 1E 28"), Bytes(a.bytes.begin() + 236 + 205, a.bytes.begin() + 236 + 209));
}

TEST(QueryRows, FlowRatesAskDownFirstThenUp) {
    fntest::SimRouter router;
    fntest::Call(Request(58));
    EXPECT_EQ("get_flows_down_rate\nget_flows_up_rate\n", router.CallLog());
}

TEST(QueryRows, DeviceRowsLeaveSubdevMutexFree) {
    fntest::SimRouter router;
    for (uint16_t id : {33, 36, 39}) {
        fntest::Call(Request(id, kPhoneMac));
        std::unique_lock<std::mutex> lock(SubdevMutex, std::try_to_lock);
        EXPECT_TRUE(lock.owns_lock()) << id;
    }
}

}  // namespace
