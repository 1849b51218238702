// Character-set identifiers, their names and the free conversion functions.
#ifndef VYNULIB_CHARSET_VYNCHARSET_H
#define VYNULIB_CHARSET_VYNCHARSET_H

#include <vynulib/vynulib_export.h>

#include <vynulib/charset/VynCharSetValues.h>

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
