// The static converter objects, the registry g_oCnvtMgr, the set names and the
// detection of the default character set from the locale.
//
// Static initialisation runs in definition order within this file: every
// converter object below is complete before g_oCnvtMgr is built, and the
// registry, defined last, is destroyed first at unload.
#include <vynulib/charset/CharSetConverterManager.h>

#include <atomic>
#include <clocale>
#include <cstdlib>
#include <vector>

#include <vynulib/converters/VynCharSetConverterMBCS.h>
#include <vynulib/converters/VynCharSetConverterSBCS.h>
#include <vynulib/converters/VynCharSetConverterUTF16.h>
#include <vynulib/converters/VynCharSetConverterUTF32.h>
#include <vynulib/converters/VynCharSetConverterUTF8.h>
#include <vynulib/tables/VynTables.h>

// ---------------------------------------------------------------------------
// Static converter objects, in construction order (destroyed in reverse, after
// the registry, which is defined last).
// ---------------------------------------------------------------------------

static VynCharSetConverterSBCS g_oConverterWCP1250(oCP1250map, VYNCS_WCP1250);
static VynCharSetConverterSBCS g_oConverterWCP1251(oCP1251map, VYNCS_WCP1251);
static VynCharSetConverterSBCS g_oConverterWCP1252(oCP1252map, VYNCS_WCP1252);
static VynCharSetConverterSBCS g_oConverterWCP1253(oCP1253map, VYNCS_WCP1253);
static VynCharSetConverterSBCS g_oConverterWCP1254(oCP1254map, VYNCS_WCP1254);
static VynCharSetConverterSBCS g_oConverterWCP1255(oCP1255map, VYNCS_WCP1255);
static VynCharSetConverterSBCS g_oConverterWCP1256(oCP1256map, VYNCS_WCP1256);
static VynCharSetConverterSBCS g_oConverterWCP1257(oCP1257map, VYNCS_WCP1257);
static VynCharSetConverterSBCS g_oConverterWCP1258(oCP1258map, VYNCS_WCP1258);
static VynCharSetConverterSBCS g_oConverterWCP874(oCP874map, VYNCS_WCP874);
static VynCharSetConverterSBCS g_oConverterISO_8859_1(o8859_1map, VYNCS_ISO_8859_1);
static VynCharSetConverterSBCS g_oConverterISO_8859_2(o8859_2map, VYNCS_ISO_8859_2);
static VynCharSetConverterSBCS g_oConverterISO_8859_3(o8859_3map, VYNCS_ISO_8859_3);
static VynCharSetConverterSBCS g_oConverterISO_8859_4(o8859_4map, VYNCS_ISO_8859_4);
static VynCharSetConverterSBCS g_oConverterISO_8859_5(o8859_5map, VYNCS_ISO_8859_5);
static VynCharSetConverterSBCS g_oConverterISO_8859_6(o8859_6map, VYNCS_ISO_8859_6);
static VynCharSetConverterSBCS g_oConverterISO_8859_7(o8859_7map, VYNCS_ISO_8859_7);
static VynCharSetConverterSBCS g_oConverterISO_8859_8(o8859_8map, VYNCS_ISO_8859_8);
static VynCharSetConverterSBCS g_oConverterISO_8859_9(o8859_9map, VYNCS_ISO_8859_9);
static VynCharSetConverterSBCS g_oConverterISO_8859_10(o8859_10map, VYNCS_ISO_8859_10);
static VynCharSetConverterSBCS g_oConverterISO_8859_11(o8859_11map, VYNCS_ISO_8859_11);
static VynCharSetConverterSBCS g_oConverterISO_8859_13(o8859_13map, VYNCS_ISO_8859_13);
static VynCharSetConverterSBCS g_oConverterISO_8859_14(o8859_14map, VYNCS_ISO_8859_14);
static VynCharSetConverterSBCS g_oConverterISO_8859_15(o8859_15map, VYNCS_ISO_8859_15);
static VynCharSetConverterSBCS g_oConverterISO_8859_16(o8859_16map, VYNCS_ISO_8859_16);
static VynCharSetConverterSBCS g_oConverterKOI8R(oKOI8Rmap, VYNCS_KOI8R);
static VynCharSetConverterDBCS g_oConverterWCP932(oCP932map, oCP932Type, VYNCS_WCP932);
static VynCharSetConverterDBCS g_oConverterWCP936(oCP936map, oCP936Type, VYNCS_WCP936);
static VynCharSetConverterDBCS g_oConverterWCP949(oCP949map, oCP949Type, VYNCS_WCP949);
static VynCharSetConverterDBCS g_oConverterWCP950(oCP950map, oCP950Type, VYNCS_WCP950);
static VynCharSetConverterGB18030 g_oConverterGB18030(oGBKmap, VYNCS_GB18030);
static VynCharSetConverterDBCS g_oConverterBIG5(oBIG5map, oBig5Type, VYNCS_BIG5);
// Shift_JIS and Shift_JIS-2004 share the byte classes of code page 932.
static VynCharSetConverterDBCS g_oConverterSHIFTJIS(oSHIFTJISmap, oCP932Type, VYNCS_SHIFTJIS);
static VynCharSetConverterDBCSEx g_oConverterSJIS0213(oSJIS0213_2004map, oCP932Type,
                                                      VYNCS_SJIS0213);
static VynCharSetConverterEUC_CN_KR g_oConverterEUC_KR(oKSX1001map, VYNCS_EUC_KR);
static VynCharSetConverterEUC_CN_KR g_oConverterEUC_CN(oGB2312map, VYNCS_EUC_CN);
static VynCharSetConverterEUC_JP g_oConverterEUC_JP(oJIS0208map, oJIS0201map, oJIS0212map,
                                                    VYNCS_EUC_JP);
static VynCharSetConverterUTF8 g_oConverterUTF8(VYNCS_UTF8);
static VynCharSetConverterUTF16 g_oConverterUTF16(VYNCS_UTF16);
static VynCharSetConverterUTF32 g_oConverterUTF32(VYNCS_UTF32);
static VynCharSetConverterUTF16Esc g_oConverterUTF16Esc(VYNCS_UTF16ESC);

namespace {

struct RegisteredConverter {
    VynCharSet m_eCharSet;
    VynCharSetConverter* m_pConverter;
};

// Registration order of the static converters. The addresses are link-time
// constants, so this table is usable even before dynamic initialisation.
RegisteredConverter const kRegistered[] = {
    {VYNCS_WCP1250, &g_oConverterWCP1250},
    {VYNCS_WCP1251, &g_oConverterWCP1251},
    {VYNCS_WCP1252, &g_oConverterWCP1252},
    {VYNCS_WCP1253, &g_oConverterWCP1253},
    {VYNCS_WCP1254, &g_oConverterWCP1254},
    {VYNCS_WCP1255, &g_oConverterWCP1255},
    {VYNCS_WCP1256, &g_oConverterWCP1256},
    {VYNCS_WCP1257, &g_oConverterWCP1257},
    {VYNCS_WCP1258, &g_oConverterWCP1258},
    {VYNCS_WCP874, &g_oConverterWCP874},
    {VYNCS_ISO_8859_1, &g_oConverterISO_8859_1},
    {VYNCS_ISO_8859_2, &g_oConverterISO_8859_2},
    {VYNCS_ISO_8859_3, &g_oConverterISO_8859_3},
    {VYNCS_ISO_8859_4, &g_oConverterISO_8859_4},
    {VYNCS_ISO_8859_5, &g_oConverterISO_8859_5},
    {VYNCS_ISO_8859_6, &g_oConverterISO_8859_6},
    {VYNCS_ISO_8859_7, &g_oConverterISO_8859_7},
    {VYNCS_ISO_8859_8, &g_oConverterISO_8859_8},
    {VYNCS_ISO_8859_9, &g_oConverterISO_8859_9},
    {VYNCS_ISO_8859_10, &g_oConverterISO_8859_10},
    {VYNCS_ISO_8859_11, &g_oConverterISO_8859_11},
    {VYNCS_ISO_8859_13, &g_oConverterISO_8859_13},
    {VYNCS_ISO_8859_14, &g_oConverterISO_8859_14},
    {VYNCS_ISO_8859_15, &g_oConverterISO_8859_15},
    {VYNCS_ISO_8859_16, &g_oConverterISO_8859_16},
    {VYNCS_KOI8R, &g_oConverterKOI8R},
    {VYNCS_WCP932, &g_oConverterWCP932},
    {VYNCS_WCP936, &g_oConverterWCP936},
    {VYNCS_WCP949, &g_oConverterWCP949},
    {VYNCS_WCP950, &g_oConverterWCP950},
    {VYNCS_EUC_KR, &g_oConverterEUC_KR},
    {VYNCS_EUC_CN, &g_oConverterEUC_CN},
    {VYNCS_EUC_JP, &g_oConverterEUC_JP},
    {VYNCS_GB18030, &g_oConverterGB18030},
    {VYNCS_BIG5, &g_oConverterBIG5},
    {VYNCS_SHIFTJIS, &g_oConverterSHIFTJIS},
    {VYNCS_SJIS0213, &g_oConverterSJIS0213},
    {VYNCS_UTF8, &g_oConverterUTF8},
    {VYNCS_UTF16, &g_oConverterUTF16},
    {VYNCS_UTF32, &g_oConverterUTF32},
    {VYNCS_UTF16ESC, &g_oConverterUTF16Esc},
};

struct CharSetName {
    VynCharSet m_eCharSet;
    char const* m_pName;
};

// The name is the enumerator's own identifier.
#define VYN_CS_NAME(e)                                                                             \
    { e, #e }

// Insertion order of the names; each map keeps the first entry for a key.
CharSetName const kNames[] = {
    VYN_CS_NAME(VYNCS_ISO_8859_1),     VYN_CS_NAME(VYNCS_ISO_8859_2),
    VYN_CS_NAME(VYNCS_ISO_8859_3),     VYN_CS_NAME(VYNCS_ISO_8859_4),
    VYN_CS_NAME(VYNCS_ISO_8859_5),     VYN_CS_NAME(VYNCS_ISO_8859_6),
    VYN_CS_NAME(VYNCS_ISO_8859_7),     VYN_CS_NAME(VYNCS_ISO_8859_8),
    VYN_CS_NAME(VYNCS_ISO_8859_9),     VYN_CS_NAME(VYNCS_ISO_8859_10),
    VYN_CS_NAME(VYNCS_ISO_8859_11),    VYN_CS_NAME(VYNCS_ISO_8859_13),
    VYN_CS_NAME(VYNCS_ISO_8859_14),    VYN_CS_NAME(VYNCS_ISO_8859_15),
    VYN_CS_NAME(VYNCS_ISO_8859_16),    VYN_CS_NAME(VYNCS_ISO_2022JP),
    VYN_CS_NAME(VYNCS_ISO_2022JP_1),   VYN_CS_NAME(VYNCS_ISO_2022JP_2),
    VYN_CS_NAME(VYNCS_ISO_2022JP_3),   VYN_CS_NAME(VYNCS_ISO_2022JP_2004),
    VYN_CS_NAME(VYNCS_ISO_2022KR),     VYN_CS_NAME(VYNCS_ISO_2022CN),
    VYN_CS_NAME(VYNCS_ISO_2022CN_EXT), VYN_CS_NAME(VYNCS_ISO_2022TW),
    VYN_CS_NAME(VYNCS_WCP1250),        VYN_CS_NAME(VYNCS_WCP1251),
    VYN_CS_NAME(VYNCS_WCP1252),        VYN_CS_NAME(VYNCS_WCP1253),
    VYN_CS_NAME(VYNCS_WCP1254),        VYN_CS_NAME(VYNCS_WCP1255),
    VYN_CS_NAME(VYNCS_WCP1256),        VYN_CS_NAME(VYNCS_WCP1257),
    VYN_CS_NAME(VYNCS_WCP1258),        VYN_CS_NAME(VYNCS_WCP874),
    VYN_CS_NAME(VYNCS_WCP932),         VYN_CS_NAME(VYNCS_WCP936),
    VYN_CS_NAME(VYNCS_WCP949),         VYN_CS_NAME(VYNCS_WCP950),
    VYN_CS_NAME(VYNCS_KOI8R),          VYN_CS_NAME(VYNCS_GB18030),
    VYN_CS_NAME(VYNCS_BIG5),           VYN_CS_NAME(VYNCS_SHIFTJIS),
    VYN_CS_NAME(VYNCS_SJIS0213),       VYN_CS_NAME(VYNCS_EUC_JP),
    VYN_CS_NAME(VYNCS_EUC_CN),         VYN_CS_NAME(VYNCS_EUC_KR),
    VYN_CS_NAME(VYNCS_EUC_TW),         VYN_CS_NAME(VYNCS_UTF8),
    VYN_CS_NAME(VYNCS_UTF16),          VYN_CS_NAME(VYNCS_UTF16BE),
    VYN_CS_NAME(VYNCS_UTF16ESC),       VYN_CS_NAME(VYNCS_UTF32),
    VYN_CS_NAME(VYNCS_UTF32BE),        VYN_CS_NAME(VYNCS_OS_DEFAULT),
};

#undef VYN_CS_NAME

struct LocaleKey {
    char const* m_pKey;
    VynCharSet m_eCharSet;
};

// Codeset part of a locale name, upper case and without '-'. "UJIS" maps to
// 932, not to EUC-JP: existing installations depend on it.
LocaleKey const kLocaleKeys[] = {
    {"UTF8", VYNCS_UTF8},
    {"ISO88591", VYNCS_ISO_8859_1},
    {"ISO88592", VYNCS_ISO_8859_2},
    {"ISO88593", VYNCS_ISO_8859_3},
    {"ISO88594", VYNCS_ISO_8859_4},
    {"ISO88595", VYNCS_ISO_8859_5},
    {"ISO88596", VYNCS_ISO_8859_6},
    {"ISO88597", VYNCS_ISO_8859_7},
    {"ISO88598", VYNCS_ISO_8859_8},
    {"ISO88599", VYNCS_ISO_8859_9},
    {"ISO885910", VYNCS_ISO_8859_10},
    {"ISO885911", VYNCS_ISO_8859_11},
    {"ISO885913", VYNCS_ISO_8859_13},
    {"ISO885914", VYNCS_ISO_8859_14},
    {"ISO885915", VYNCS_ISO_8859_15},
    {"ISO885916", VYNCS_ISO_8859_16},
    {"JA", VYNCS_EUC_JP},
    {"EUCJP", VYNCS_EUC_JP},
    {"EUCKR", VYNCS_EUC_KR},
    {"EUCTW", VYNCS_EUC_TW},
    {"CN.EUC", VYNCS_EUC_CN},
    {"KR.EUC", VYNCS_EUC_KR},
    {"TW.EUC", VYNCS_EUC_TW},
    {"SJIS", VYNCS_WCP932},
    {"UJIS", VYNCS_WCP932},
    {"PCK", VYNCS_WCP932},
    {"GB18030", VYNCS_GB18030},
    {"BIG5", VYNCS_BIG5},
};

// Set once the registry is complete, cleared when its destruction starts.
// Before that (while the registry itself builds strings, or when another
// library's static code converts early) lookups go to kRegistered directly,
// VYNCS_OS_DEFAULT is served as UTF-8, and nothing is cached.
std::atomic<bool> s_bRegistryReady{false};

// Filled on first use once the registry is ready, never changed afterwards.
// Racing first writes store the same pointer.
std::atomic<VynCharSetConverter*> cachedUtf8Converter{nullptr};
std::atomic<VynCharSetConverter*> cachedOsDefaultConverter{nullptr};

VynCharSetConverter* earlyConverter(VynCharSet cs) {
    for (RegisteredConverter const& r : kRegistered) {
        if (r.m_eCharSet == cs && r.m_pConverter != nullptr) return r.m_pConverter;
    }
    return &g_oConverterUTF8;
}

VynCharSetConverter* cachedConverter(std::atomic<VynCharSetConverter*>& cache, VynCharSet cs) {
    VynCharSetConverter* p = cache.load(std::memory_order_acquire);
    if (p == nullptr) {
        p = g_oCnvtMgr.getConverter(cs);
        cache.store(p, std::memory_order_release);
    }
    return p;
}

bool isUnit(unsigned short u, char c) {
    return u == static_cast<unsigned char>(c);
}

} // namespace

CharSetConverterManager g_oCnvtMgr;

// ---------------------------------------------------------------------------

VynCharSetConverter* VynCharSetConverter::getConverter(VynCharSet cs) {
    if (!s_bRegistryReady.load(std::memory_order_acquire)) return earlyConverter(cs);
    if (cs == VYNCS_UTF8) return cachedConverter(cachedUtf8Converter, cs);
    if (cs == VYNCS_OS_DEFAULT) return cachedConverter(cachedOsDefaultConverter, cs);
    return g_oCnvtMgr.getConverter(cs);
}

CharSetConverterManager::CharSetConverterManager() : m_eDefaultCharSet(VYNCS_ISO_8859_1) {
    initLocaleMap();
    m_eDefaultCharSet = getDefaultCharSet();
    for (RegisteredConverter const& r : kRegistered) {
        if (r.m_pConverter != nullptr) insert(r.m_eCharSet, r.m_pConverter, true);
    }
    for (CharSetName const& n : kNames)
        insertCharSetMap(n.m_eCharSet, VynUString(n.m_pName, VYNCS_UTF8));
    // Render every name once now: later charSetToString calls then only read
    // the cached text, so concurrent callers never write the same string.
    for (auto& entry : m_oCharSetNameMap) entry.second.c_str(VYNCS_ISO_8859_1);
    // Only the library's own registry switches the lookups over; a registry
    // that a caller builds for itself must not.
    if (this == &g_oCnvtMgr) s_bRegistryReady.store(true, std::memory_order_release);
}

CharSetConverterManager::~CharSetConverterManager() {
    if (this == &g_oCnvtMgr) s_bRegistryReady.store(false, std::memory_order_release);
    for (auto& entry : m_oConverterMap) {
        if (!entry.second.m_bStatic && entry.second.m_pConverter != nullptr)
            delete entry.second.m_pConverter;
    }
    // The members go in reverse order of declaration: set-to-name map, name
    // map, converter map, locale map.
}

void CharSetConverterManager::insert(VynCharSet cs, VynCharSetConverter* conv, bool isStatic) {
    m_oConverterMap.insert({cs, ConverterInfo{isStatic, conv}});
}

void CharSetConverterManager::insertCharSetMap(VynCharSet cs, VynUString const& name) {
    m_oNameMap.insert({name, cs});
    m_oCharSetNameMap.insert({cs, name});
}

VynCharSetConverter* CharSetConverterManager::getConverter(VynCharSet cs) {
    if (cs == VYNCS_OS_DEFAULT) cs = m_eDefaultCharSet;
    auto it = m_oConverterMap.find(cs);
    if (it != m_oConverterMap.end() && it->second.m_pConverter != nullptr)
        return it->second.m_pConverter;
    return load(cs);
}

// Sets without a converter of their own are converted as UTF-8, silently.
VynCharSetConverter* CharSetConverterManager::load(VynCharSet) {
    return &g_oConverterUTF8;
}

char const* CharSetConverterManager::charSetToString(VynCharSet cs) {
    auto it = m_oCharSetNameMap.find(cs);
    if (it == m_oCharSetNameMap.end()) return "VYNCS_OS_DEFAULT";
    return it->second.c_str(VYNCS_ISO_8859_1);
}

VynCharSet CharSetConverterManager::charSetFromString(char const* name) {
    if (name == nullptr || *name == '\0') return VYNCS_OS_DEFAULT;
    auto it = m_oNameMap.find(VynUString(name, VYNCS_ISO_8859_1));
    return it == m_oNameMap.end() ? VYNCS_OS_DEFAULT : it->second;
}

void CharSetConverterManager::initLocaleMap() {
    for (LocaleKey const& k : kLocaleKeys)
        m_oLocaleMap.insert({VynUString(k.m_pKey, VYNCS_UTF8), k.m_eCharSet});
}

VynCharSet CharSetConverterManager::getDefaultCharSet() {
    // Only LANG is read; LC_ALL and LC_CTYPE count only through the C
    // library's current locale, which stays "C" unless the program sets it.
    char const* lang = std::getenv("LANG");
    if (lang == nullptr) lang = std::setlocale(LC_CTYPE, nullptr);
    if (lang == nullptr) return VYNCS_ISO_8859_1;

    VynUString text(lang, VYNCS_UTF8);
    text.toUpper(true);
    std::vector<unsigned short> u(text.data(), text.data() + text.length());

    auto findUnit = [&u](char c) {
        for (std::size_t i = 0; i < u.size(); ++i)
            if (isUnit(u[i], c)) return i;
        return u.size();
    };

    static char const kEuc[] = ".EUC";
    bool euc = u.size() >= 4;
    for (std::size_t i = 0; euc && i < 4; ++i) euc = isUnit(u[u.size() - 4 + i], kEuc[i]);

    if (euc) {
        // ZH_CN.EUC -> CN.EUC: the territory names the set.
        std::size_t us = findUnit('_');
        if (us < u.size()) u.erase(u.begin(), u.begin() + static_cast<std::ptrdiff_t>(us) + 1);
    } else {
        // EN_US.UTF-8@EURO -> UTF-8; a name without a dot keeps its language.
        std::size_t dot = findUnit('.');
        if (dot < u.size()) u.erase(u.begin(), u.begin() + static_cast<std::ptrdiff_t>(dot) + 1);
        std::size_t at = findUnit('@');
        if (at < u.size()) u.erase(u.begin() + static_cast<std::ptrdiff_t>(at), u.end());
    }
    std::vector<unsigned short> key;
    key.reserve(u.size() + 1);
    for (unsigned short c : u)
        if (!isUnit(c, '-')) key.push_back(c);
    key.push_back(0);

    auto it = m_oLocaleMap.find(VynUString(key.data()));
    return it == m_oLocaleMap.end() ? VYNCS_ISO_8859_1 : it->second;
}

// ---------------------------------------------------------------------------

char const* VynCharSetToString(VynCharSet cs) {
    return g_oCnvtMgr.charSetToString(cs);
}

VynCharSet VynCharSetFromString(char const* name) {
    return g_oCnvtMgr.charSetFromString(name);
}
