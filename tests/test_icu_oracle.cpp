// A second, independent oracle: every table converter against the ICU
// converter closest to it, over all codes of the set in both directions. The
// number of disagreements per table is frozen, each with its reason, so any
// drift in a table or a converter fails here.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <vynulib/converters/VynCharSetConverterMBCS.h>
#include <vynulib/converters/VynCharSetConverterSBCS.h>
#include <vynulib/internal/VynTables.h>

#include "converter_data.h"

#ifdef VYN_HAVE_ICU
#include <unicode/ucnv.h>
#include <unicode/ucnv_err.h>
#endif

namespace {

#ifdef VYN_HAVE_ICU

using vyn::catalogue::Family;

struct OracleCase {
    VynCharSet cs;
    char const* icu;
    long decodeDiffs; // codes of the set that decode differently
    long encodeDiffs; // scalar values that encode differently
    char const* why;
};

OracleCase const kCases[] = {
    {VYNCS_WCP1250, "windows-1250", 0, 0, "same table"},
    {VYNCS_WCP1251, "windows-1251", 0, 0, "same table"},
    {VYNCS_WCP1252, "windows-1252", 0, 0, "same table"},
    {VYNCS_WCP1253, "windows-1253", 0, 0, "same table"},
    {VYNCS_WCP1254, "windows-1254", 0, 0, "same table"},
    {VYNCS_WCP1255, "windows-1255", 0, 0, "same table"},
    {VYNCS_WCP1256, "windows-1256", 0, 0, "same table"},
    {VYNCS_WCP1257, "windows-1257", 0, 0, "same table"},
    {VYNCS_WCP1258, "windows-1258", 0, 0, "same table"},
    {VYNCS_KOI8R, "KOI8-R", 0, 0, "same table"},
    {VYNCS_ISO_8859_1, "ISO-8859-1", 0, 0, "same table"},
    {VYNCS_ISO_8859_2, "ISO-8859-2", 0, 0, "same table"},
    {VYNCS_ISO_8859_3, "ISO-8859-3", 0, 0, "same table"},
    {VYNCS_ISO_8859_4, "ISO-8859-4", 0, 0, "same table"},
    {VYNCS_ISO_8859_5, "ISO-8859-5", 0, 0, "same table"},
    {VYNCS_ISO_8859_6, "ISO-8859-6", 0, 0, "same table"},
    {VYNCS_ISO_8859_7, "ISO-8859-7", 0, 0, "same table"},
    {VYNCS_ISO_8859_8, "ISO-8859-8", 0, 0, "same table"},
    {VYNCS_ISO_8859_9, "ISO-8859-9", 0, 0, "same table"},
    {VYNCS_ISO_8859_10, "ISO-8859-10", 0, 0, "same table"},
    {VYNCS_ISO_8859_11, "ISO-8859-11", 0, 0, "same table"},
    {VYNCS_ISO_8859_13, "ISO-8859-13", 0, 0, "same table"},
    {VYNCS_ISO_8859_14, "ISO-8859-14", 0, 0, "same table"},
    {VYNCS_ISO_8859_15, "ISO-8859-15", 0, 0, "same table"},
    {VYNCS_WCP874, "windows-874-2000", 44, 47,
     "controls 1A/1C/7F rotated, 80-A0 unmapped, FC-FF kept as they are here"},
    {VYNCS_ISO_8859_16, nullptr, 0, 0, "ICU 72 ships no ISO 8859-16 table"},
    {VYNCS_WCP932, "ibm-942_P12A-1999", 198, 1,
     "single FE/FF unmapped here (and 196 pairs ending in them); U+F86F has no code"},
    {VYNCS_WCP936, "windows-936-2000", 4158, 0,
     "trail bytes 80-A0 are no trail bytes in the type table"},
    {VYNCS_WCP949, "windows-949-2000", 0, 0, "same table"},
    {VYNCS_WCP950, "ibm-950_P110-1999", 607, 0,
     "trail bytes 81-A0 are no trail bytes here (605); two one-way codes left out"},
    {VYNCS_SHIFTJIS, "ibm-943_P15A-2003", 398, 1,
     "ICU duplicates (NEC row 13, ED/EE, FA) left out, trails 81-A0; U+F86F"},
    {VYNCS_BIG5, "windows-950-2000", 10, 0,
     "ten duplicate codes whose character encodes elsewhere are unmapped here"},
    {VYNCS_SJIS0213, "ibm-943_P15A-2003", 4467, 6240,
     "ICU has no JIS X 0213 table: this is the nearest Shift_JIS one"},
    {VYNCS_EUC_CN, "ibm-1383_P110-1999", 1423, 1423,
     "ICU maps DEL, C1 and the user rows (to PUA); 0x2327 is U+FF07 here, U+00B4 there"},
    {VYNCS_EUC_KR, "ibm-970_P110_P110-2006_U2", 219, 219,
     "DEL and C1 are no characters here; the 188 user-defined codes are left out"},
    {VYNCS_EUC_JP, "ibm-33722_P12A_P12A-2009_U2", 2365, 2374,
     "no JIS X 0212 or user rows here, DEL/C1 unmapped, lead 0x80 for JIS X 0201"},
    {VYNCS_GB18030, "gb18030", 2, 1026,
     "A8BC and U+1E3F swapped (2005 edition there); a lone high surrogate ends the text here"},
};

Family familyOf(VynCharSet cs) {
    return vyn::catalogue::find(cs)->family;
}

char const* nameOf(VynCharSet cs) {
    return vyn::catalogue::find(cs)->name;
}

using Bytes = std::string;

// Every code of the set, as the byte sequences that make up one character.
std::vector<Bytes> codesOf(Family f) {
    std::vector<Bytes> out;
    auto add = [&](std::initializer_list<unsigned> bs) {
        Bytes s;
        for (unsigned b : bs) s += static_cast<char>(b);
        out.push_back(s);
    };
    for (unsigned b = 1; b <= 0xFF; ++b) add({b});
    if (f == Family::SBCS) return out;
    bool const euc = f == Family::EUC_CN_KR || f == Family::EUC_JP;
    unsigned lo = euc ? 0xA1 : 0x40;
    for (unsigned b = 0x81; b <= 0xFE; ++b)
        for (unsigned t = lo; t <= 0xFE; ++t)
            if (!euc || b >= 0xA1) add({b, t});
    if (f == Family::EUC_JP) {
        for (unsigned t = 0xA1; t <= 0xDF; ++t) add({0x8E, t});
        for (unsigned b = 0xA1; b <= 0xFE; ++b)
            for (unsigned t = 0xA1; t <= 0xFE; ++t) add({0x8F, b, t});
    }
    if (f == Family::GB18030) {
        for (unsigned b1 = 0x81; b1 <= 0xE3; ++b1) {
            if (b1 > 0x84 && b1 < 0x90) continue;
            for (unsigned b2 = 0x30; b2 <= 0x39; ++b2)
                for (unsigned b3 = 0x81; b3 <= 0xFE; ++b3)
                    for (unsigned b4 = 0x30; b4 <= 0x39; ++b4) add({b1, b2, b3, b4});
        }
    }
    return out;
}

// One result: the units or bytes, or "!" for "not convertible".
std::string ours(VynCharSetConverter& c, Bytes const& src) {
    unsigned short dst[16];
    bool flag = false;
    unsigned long n = c.toUTF16(dst, src.c_str(), 15, ILLCHAR_REPLACE, &flag, -1);
    if (flag) return "!";
    return std::string(reinterpret_cast<char const*>(dst), 2 * n);
}

std::string ours(VynCharSetConverter& c, std::u16string const& src) {
    char dst[32];
    bool flag = false;
    unsigned long n = c.fromUTF16(dst, reinterpret_cast<unsigned short const*>(src.c_str()), 31,
                                  ILLCHAR_REPLACE, &flag);
    if (flag) return "!";
    return std::string(dst, n);
}

std::string hexOf(std::string const& s) {
    std::string out;
    char buf[4];
    for (unsigned char b : s) std::snprintf(buf, sizeof buf, "%02X", b), out += buf;
    return out.empty() ? "-" : out;
}

struct Icu {
    explicit Icu(char const* name) {
        UErrorCode e = U_ZERO_ERROR;
        cnv = ucnv_open(name, &e);
        if (U_FAILURE(e)) cnv = nullptr;
        if (!cnv) return;
        ucnv_setToUCallBack(cnv, UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &e);
        ucnv_setFromUCallBack(cnv, UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &e);
        ucnv_setFallback(cnv, false);
    }
    ~Icu() {
        if (cnv) ucnv_close(cnv);
    }
    std::string decode(Bytes const& src) {
        UChar dst[16];
        UErrorCode e = U_ZERO_ERROR;
        int32_t n = ucnv_toUChars(cnv, dst, 16, src.data(), static_cast<int32_t>(src.size()), &e);
        if (U_FAILURE(e)) return "!";
        return std::string(reinterpret_cast<char const*>(dst), 2 * n);
    }
    std::string encode(std::u16string const& src) {
        char dst[32];
        UErrorCode e = U_ZERO_ERROR;
        int32_t n = ucnv_fromUChars(cnv, dst, 32, src.data(), static_cast<int32_t>(src.size()), &e);
        // ICU drops an unmappable default-ignorable code point without a
        // word; here that counts as "not convertible", as it does for us.
        if (U_FAILURE(e) || n == 0) return "!";
        return std::string(dst, n);
    }
    UConverter* cnv = nullptr;
};

class IcuOracle : public ::testing::TestWithParam<OracleCase> {};

TEST_P(IcuOracle, DisagreementsAreTheKnownOnes) {
    OracleCase const& c = GetParam();
    if (!c.icu) GTEST_SKIP() << c.why;
    Icu icu(c.icu);
    bool const dump = std::getenv("VYN_ORACLE_DUMP") != nullptr;
    ASSERT_NE(icu.cnv, nullptr) << c.icu;
    auto mine = freshConverter(c.cs);

    long decodeDiffs = 0;
    std::string sample;
    for (Bytes const& code : codesOf(familyOf(c.cs)))
        if (ours(*mine, code) != icu.decode(code)) {
            if (dump)
                std::printf("D %s %s %s %s\n", nameOf(c.cs), hexOf(code).c_str(),
                            hexOf(ours(*mine, code)).c_str(), hexOf(icu.decode(code)).c_str());
            if (++decodeDiffs <= 3) {
                char buf[32];
                for (unsigned char b : code)
                    std::snprintf(buf, sizeof buf, "%02X", b), sample += buf;
                sample += ' ';
            }
        }
    long encodeDiffs = 0;
    bool beyondBmp = familyOf(c.cs) == Family::DBCSEx || familyOf(c.cs) == Family::GB18030;
    for (unsigned v = 1; v <= (beyondBmp ? 0x10FFFFu : 0xFFFFu); ++v) {
        std::u16string s;
        if (v > 0xFFFF) {
            s += static_cast<char16_t>(0xD800 + ((v - 0x10000) >> 10));
            s += static_cast<char16_t>(0xDC00 + (v & 0x3FF));
        } else {
            s += static_cast<char16_t>(v);
        }
        if (ours(*mine, s) != icu.encode(s)) {
            if (dump)
                std::printf("E %s %04X %s %s\n", nameOf(c.cs), v, hexOf(ours(*mine, s)).c_str(),
                            hexOf(icu.encode(s)).c_str());
            if (++encodeDiffs <= 3) {
                char buf[16];
                std::snprintf(buf, sizeof buf, "U+%04X ", v);
                sample += buf;
            }
        }
    }
    std::printf("%-18s %-28s decode %6ld encode %6ld  e.g. %s\n", nameOf(c.cs), c.icu, decodeDiffs,
                encodeDiffs, sample.c_str());
    EXPECT_EQ(decodeDiffs, c.decodeDiffs) << c.why;
    EXPECT_EQ(encodeDiffs, c.encodeDiffs) << c.why;
}

INSTANTIATE_TEST_SUITE_P(Tables, IcuOracle, ::testing::ValuesIn(kCases),
                         [](auto const& i) { return std::string(nameOf(i.param.cs) + 6); });

// Every served set with a compiled table has its row above.
TEST(IcuOracle, CoversEveryTableSet) {
    for (VynCharSet cs : vyn::catalogue::kServed) {
        if (!*vyn::catalogue::find(cs)->tables) continue;
        bool found = false;
        for (OracleCase const& c : kCases) found |= c.cs == cs;
        EXPECT_TRUE(found) << nameOf(cs);
    }
}

#else

TEST(IcuOracle, NeedsIcu) {
    GTEST_SKIP() << "ICU's common library was not found at configure";
}

#endif

} // namespace
