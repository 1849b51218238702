// Character-set identifiers, their names and the free conversion functions.
#ifndef VYNULIB_CHARSET_VYNCHARSET_H
#define VYNULIB_CHARSET_VYNCHARSET_H

#include <vynulib/vynulib_export.h>

// The values are the sets' code-page numbers, so a caller holding such a number
// can pass it straight through. Any other int value may be cast to VynCharSet:
// it is served by the UTF-8 converter and prints as "VYNCS_OS_DEFAULT".
enum VynCharSet : int {
    VYNCS_OS_DEFAULT = -2,
    VYNCS_WCP874 = 874,
    VYNCS_WCP932 = 932,
    VYNCS_WCP936 = 936,
    VYNCS_WCP949 = 949,
    VYNCS_WCP950 = 950,
    VYNCS_UTF16 = 1200,
    VYNCS_UTF16BE = 1201,
    VYNCS_UTF16ESC = 1202,
    VYNCS_WCP1250 = 1250,
    VYNCS_WCP1251 = 1251,
    VYNCS_WCP1252 = 1252,
    VYNCS_WCP1253 = 1253,
    VYNCS_WCP1254 = 1254,
    VYNCS_WCP1255 = 1255,
    VYNCS_WCP1256 = 1256,
    VYNCS_WCP1257 = 1257,
    VYNCS_WCP1258 = 1258,
    VYNCS_UTF32 = 12000,
    VYNCS_UTF32BE = 12001,
    VYNCS_KOI8R = 20866,
    VYNCS_ISO_8859_1 = 28591,
    VYNCS_ISO_8859_2 = 28592,
    VYNCS_ISO_8859_3 = 28593,
    VYNCS_ISO_8859_4 = 28594,
    VYNCS_ISO_8859_5 = 28595,
    VYNCS_ISO_8859_6 = 28596,
    VYNCS_ISO_8859_7 = 28597,
    VYNCS_ISO_8859_8 = 28598,
    VYNCS_ISO_8859_9 = 28599,
    VYNCS_ISO_8859_10 = 28600,
    VYNCS_ISO_8859_11 = 28601,
    // There is no ISO 8859-12.
    VYNCS_ISO_8859_13 = 28603,
    VYNCS_ISO_8859_14 = 28604,
    VYNCS_ISO_8859_15 = 28605,
    VYNCS_ISO_8859_16 = 28606,
    VYNCS_SHIFTJIS = 30932,
    VYNCS_SJIS0213 = 30933,
    VYNCS_BIG5 = 30950,
    VYNCS_ISO_2022JP = 50220,
    VYNCS_ISO_2022JP_1 = 50221,
    VYNCS_ISO_2022JP_2 = 50222,
    VYNCS_ISO_2022JP_3 = 50223,
    VYNCS_ISO_2022JP_2004 = 50224,
    VYNCS_ISO_2022KR = 50225,
    VYNCS_ISO_2022CN = 50227,
    VYNCS_ISO_2022CN_EXT = 50228,
    VYNCS_ISO_2022TW = 50229,
    VYNCS_EUC_JP = 51932,
    VYNCS_EUC_CN = 51936,
    VYNCS_EUC_KR = 51949,
    VYNCS_EUC_TW = 51950,
    VYNCS_GB18030 = 54936,
    VYNCS_UTF8 = 65001
};

// Names: an unknown value prints as "VYNCS_OS_DEFAULT"; an unknown, empty or
// null name parses to VYNCS_OS_DEFAULT. The returned pointer belongs to the
// library and stays valid while it is loaded.
VYN_API char const* VynCharSetToString(VynCharSet cs);
VYN_API VynCharSet VynCharSetFromString(char const* name);

// One-call conversions. Sizes count the whole output buffer, terminator
// included; the result is the length written without the terminator; 0 means
// nothing was converted.
VYN_API unsigned long LocalToUTF8(unsigned char* dst, char const* src, unsigned long dstSize,
                                  VynCharSet cs);
VYN_API unsigned long UTF8ToLocal(char* dst, unsigned char const* src, unsigned long dstSize,
                                  VynCharSet cs);
VYN_API int LocalToUTF16(unsigned short* dst, char const* src, int dstSize, VynCharSet cs);
VYN_API unsigned long UTF16ToLocal(char* dst, unsigned short const* src, unsigned long dstSize,
                                   VynCharSet cs);
VYN_API unsigned long UTF8ToUTF16(unsigned short* dst, unsigned char const* src,
                                  unsigned long dstSize);
VYN_API unsigned long UTF16ToUTF8(unsigned char* dst, unsigned short const* src,
                                  unsigned long dstSize);
VYN_API int LocalPathToUTF8(unsigned char* dst, char const* src, int dstSize);
VYN_API int UTF8ToLocalPath(char* dst, unsigned char const* src, int dstSize);
VYN_API unsigned long GetNumUnits(char const* src, VynCharSet cs);
VYN_API unsigned long GetNumBytes(unsigned short const* src, VynCharSet cs);
VYN_API int GetMinUnitSize(VynCharSet cs);
VYN_API int GetMaxUnitSize(VynCharSet cs);
VYN_API int GetNullCharSize(VynCharSet cs);
VYN_API int VynCharSetWStrlen(unsigned short const* s);
VYN_API bool VynCharSetWStrEqual(unsigned short const* a, unsigned short const* b);

#endif
