// The compiled mapping tables and lead-byte type tables (internal).
// The tables themselves are generated: see tools/gen_tables.py.
#ifndef VYNULIB_TABLES_VYNTABLES_H
#define VYNULIB_TABLES_VYNTABLES_H

#include <vynulib/converters/VynCharSetConverterMBCS.h>

// Single-byte maps: records (byte, unit) ended by (0, 0), sorted by unit.
extern unsigned short const oCP1250map[];
extern unsigned short const oCP1251map[];
extern unsigned short const oCP1252map[];
extern unsigned short const oCP1253map[];
extern unsigned short const oCP1254map[];
extern unsigned short const oCP1255map[];
extern unsigned short const oCP1256map[];
extern unsigned short const oCP1257map[];
extern unsigned short const oCP1258map[];
extern unsigned short const oCP874map[];
extern unsigned short const o8859_1map[];
extern unsigned short const o8859_2map[];
extern unsigned short const o8859_3map[];
extern unsigned short const o8859_4map[];
extern unsigned short const o8859_5map[];
extern unsigned short const o8859_6map[];
extern unsigned short const o8859_7map[];
extern unsigned short const o8859_8map[];
extern unsigned short const o8859_9map[];
extern unsigned short const o8859_10map[];
extern unsigned short const o8859_11map[];
extern unsigned short const o8859_13map[];
extern unsigned short const o8859_14map[];
extern unsigned short const o8859_15map[];
extern unsigned short const o8859_16map[];
extern unsigned short const oKOI8Rmap[];

// Multibyte maps: records (code, unit) ended by (0, 0).
extern unsigned short const oCP932map[];
extern unsigned short const oCP936map[];
extern unsigned short const oCP949map[];
extern unsigned short const oCP950map[];
extern unsigned short const oSHIFTJISmap[];
extern unsigned short const oBIG5map[];
extern unsigned short const oGB2312map[];
extern unsigned short const oKSX1001map[];
extern unsigned short const oJIS0208map[];
extern unsigned short const oJIS0201map[];
extern unsigned short const oJIS0212map[];
extern unsigned short const oGBKmap[];
extern sMBCSExTable const oSJIS0213_2004map[];

// Lead-byte type tables (256 entries).
extern unsigned char const oCP932Type[256];
extern unsigned char const oCP936Type[256];
extern unsigned char const oCP949Type[256];
extern unsigned char const oCP950Type[256];
extern unsigned char const oBig5Type[256];

// GB18030 range tables, 265 records and a terminator each.
extern sGBRange const oGB2UniRange[];
extern sGBRange const oUni2GBRange[];

#endif
