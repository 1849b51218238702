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
#include <vynulib/internal/VynTables.h>

namespace {

struct RegisteredConverter {
    VynCharSet m_eCharSet;
    VynCharSetConverter* m_pConverter;
};

struct CharSetName {
    VynCharSet m_eCharSet;
    char const* m_pName; // the enumerator's own identifier
};

} // namespace

// The static converter objects, in construction order, and the registry's
// two insertion orders, kRegistered and kNames: generated from the catalogue
// (src/vynulib/tables/data/charsets.tsv). Each map keeps the first entry
// inserted for a key.
#include <vynulib/internal/VynConverterObjects.inc>

namespace {

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
