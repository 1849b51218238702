// vynulib64: one way to handle text. Include this header and link
// vynulib64::vynulib64.
#ifndef VYNULIB_VYNULIB_H
#define VYNULIB_VYNULIB_H

#include <vynulib/vynulib_export.h>
#include <vynulib/charset/VynCharSet.h>
#include <vynulib/charset/CharSetConverterManager.h>
#include <vynulib/converters/VynCharSetConverter.h>
#include <vynulib/converters/VynCharSetConverterUTF8.h>
#include <vynulib/converters/VynCharSetConverterUTF16.h>
#include <vynulib/converters/VynCharSetConverterUTF32.h>
#include <vynulib/converters/VynCharSetConverterSBCS.h>
#include <vynulib/converters/VynCharSetConverterMBCS.h>
#include <vynulib/unicode/VynUChar.h>
#include <vynulib/string/VynUString.h>
#include <vynulib/string/VynUStringList.h>

#endif
