// The registry: which converter serves which character set, the set names, the
// locale codeset keys and the default set detected when the library loaded.
#ifndef VYNULIB_CHARSET_CHARSETCONVERTERMANAGER_H
#define VYNULIB_CHARSET_CHARSETCONVERTERMANAGER_H

#include <map>

#include <vynulib/charset/VynCharSet.h>
#include <vynulib/converters/VynCharSetConverter.h>
#include <vynulib/string/VynUString.h>

struct ConverterInfo {
    bool m_bStatic; // false: the registry owns the converter and deletes it
    VynCharSetConverter* m_pConverter;
};

class VYN_API CharSetConverterManager {
public:
    CharSetConverterManager();
    ~CharSetConverterManager();
    CharSetConverterManager(CharSetConverterManager const&) = delete;
    CharSetConverterManager& operator=(CharSetConverterManager const&) = delete;

    // The first registration of a set wins; a refused converter is neither
    // stored nor deleted. Not safe to call concurrently with lookups.
    void insert(VynCharSet cs, VynCharSetConverter* conv, bool isStatic);
    void insertCharSetMap(VynCharSet cs, VynUString const& name);

    VynCharSetConverter* getConverter(VynCharSet cs);
    // Any set without a converter is served by the UTF-8 converter.
    VynCharSetConverter* load(VynCharSet cs);

    char const* charSetToString(VynCharSet cs);
    VynCharSet charSetFromString(char const* name);

    void initLocaleMap();
    // Runs the detection from LANG (else setlocale) again; the registry calls
    // it once, at load.
    VynCharSet getDefaultCharSet();
    // What VYNCS_OS_DEFAULT stands for in this process.
    VynCharSet defaultCharSet() const { return m_eDefaultCharSet; }

private:
    std::map<VynUString, VynCharSet> m_oLocaleMap;
    VynCharSet m_eDefaultCharSet;
    std::map<VynCharSet, ConverterInfo> m_oConverterMap;
    std::map<VynUString, VynCharSet> m_oNameMap;
    std::map<VynCharSet, VynUString> m_oCharSetNameMap;
};

VYN_API extern CharSetConverterManager g_oCnvtMgr;

#endif
