// The converter interface: every conversion between a character set and UTF-16
// passes through one of these objects. UTF-16 in the machine's byte order is
// the pivot of every conversion.
#ifndef VYNULIB_CONVERTERS_VYNCHARSETCONVERTER_H
#define VYNULIB_CONVERTERS_VYNCHARSETCONVERTER_H

#include <vynulib/vynulib_export.h>
#include <vynulib/charset/VynCharSet.h>

// What a converter does with a character it cannot convert. Any other value
// is treated as ILLCHAR_REPLACE.
enum ILLCHAR_OPTYPE {
    ILLCHAR_STOP = 0,    // stop before it, terminate, return what was converted
    ILLCHAR_REPLACE = 1, // U+FFFD towards UTF-16, "?" away from it
    ILLCHAR_ESCAPE = 2   // as REPLACE towards UTF-16; "U+%04X" text away from it
};

class VYN_API VynCharSetConverter {
public:
    explicit VynCharSetConverter(VynCharSet cs) : m_eCharSet(cs) {}
    virtual ~VynCharSetConverter();

    // Characters of the set in the first len bytes of src ((unsigned long)-1:
    // up to the terminator).
    virtual unsigned long getNumUnits(void const* src, unsigned long len) = 0;
    // Decode src (terminated) into at most dstUnits UTF-16 units plus a zero
    // unit; maxSrc is a source-side limit whose reading differs by converter.
    virtual unsigned long toUTF16(unsigned short* dst, void const* src, unsigned long dstUnits,
                                  ILLCHAR_OPTYPE op, bool* illegal, int maxSrc) = 0;
    // Bytes of the set that the first len units of src need.
    virtual unsigned long getNumBytes(unsigned short const* src, unsigned long len) = 0;
    // Encode src (terminated) into at most dstCap bytes plus a terminator.
    virtual unsigned long fromUTF16(void* dst, unsigned short const* src, unsigned long dstCap,
                                    ILLCHAR_OPTYPE op, bool* illegal) = 0;
    // Direct UTF-8 paths; only the UTF-32 converter has them. The defaults do
    // nothing and return 0.
    virtual unsigned long fromUTF8(void* dst, unsigned char const* src, unsigned long len,
                                   ILLCHAR_OPTYPE op, bool* illegal);
    virtual unsigned long toUTF8(unsigned char* dst, void const* src, unsigned long len,
                                 ILLCHAR_OPTYPE op, bool* illegal);
    virtual int getMinUnitSize() const = 0;
    virtual int getMaxUnitSize() const = 0;
    virtual int getNullCharSize() const = 0;

    VynCharSet getCharSet() const { return m_eCharSet; }

    // The converter serving cs, never null (the UTF-8 converter for a set
    // without one of its own; VYNCS_OS_DEFAULT is the detected default set).
    static VynCharSetConverter* getConverter(VynCharSet cs);

    VynCharSetConverter(VynCharSetConverter const&) = delete;
    VynCharSetConverter& operator=(VynCharSetConverter const&) = delete;

protected:
    VynCharSet m_eCharSet;
};

#endif
