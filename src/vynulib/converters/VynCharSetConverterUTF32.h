// UTF-32 in the machine's byte order, with its own UTF-8 paths (the five- and
// six-byte forms included).
#ifndef VYNULIB_CONVERTERS_VYNCHARSETCONVERTERUTF32_H
#define VYNULIB_CONVERTERS_VYNCHARSETCONVERTERUTF32_H

#include <vynulib/converters/VynCharSetConverter.h>

class VYN_API VynCharSetConverterUTF32 : public VynCharSetConverter {
public:
    explicit VynCharSetConverterUTF32(VynCharSet cs) : VynCharSetConverter(cs) {}
    ~VynCharSetConverterUTF32() override;

    unsigned long getNumUnits(void const* src, unsigned long len) override;
    unsigned long toUTF16(unsigned short* dst, void const* src, unsigned long dstUnits,
                          ILLCHAR_OPTYPE op, bool* illegal, int maxSrc) override;
    unsigned long getNumBytes(unsigned short const* src, unsigned long len) override;
    unsigned long fromUTF16(void* dst, unsigned short const* src, unsigned long dstCap,
                            ILLCHAR_OPTYPE op, bool* illegal) override;
    // UTF-8 to UTF-32: len is the number of values to produce; returns values.
    unsigned long fromUTF8(void* dst, unsigned char const* src, unsigned long len,
                           ILLCHAR_OPTYPE op, bool* illegal) override;
    // UTF-32 to UTF-8: len is the capacity in bytes; returns bytes.
    unsigned long toUTF8(unsigned char* dst, void const* src, unsigned long len, ILLCHAR_OPTYPE op,
                         bool* illegal) override;
    int getMinUnitSize() const override { return 4; }
    int getMaxUnitSize() const override { return 4; }
    int getNullCharSize() const override { return 4; }

    // Decodes one UTF-8 sequence at *p and advances *p.
    unsigned int UTF32fromUTF8(unsigned char** p);
};

#endif
