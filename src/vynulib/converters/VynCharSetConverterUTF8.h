// UTF-8 <-> UTF-16. Deliberately lenient: no overlong, surrogate or range
// checks, no byte-order mark handling.
#ifndef VYNULIB_CONVERTERS_VYNCHARSETCONVERTERUTF8_H
#define VYNULIB_CONVERTERS_VYNCHARSETCONVERTERUTF8_H

#include <vynulib/converters/VynCharSetConverter.h>

class VYN_API VynCharSetConverterUTF8 : public VynCharSetConverter {
public:
    explicit VynCharSetConverterUTF8(VynCharSet cs) : VynCharSetConverter(cs) {}
    ~VynCharSetConverterUTF8() override;

    unsigned long getNumUnits(void const* src, unsigned long len) override;
    unsigned long toUTF16(unsigned short* dst, void const* src, unsigned long dstUnits,
                          ILLCHAR_OPTYPE op, bool* illegal, int maxSrc) override;
    unsigned long getNumBytes(unsigned short const* src, unsigned long len) override;
    unsigned long fromUTF16(void* dst, unsigned short const* src, unsigned long dstCap,
                            ILLCHAR_OPTYPE op, bool* illegal) override;
    int getMinUnitSize() const override { return 1; }
    // Counted per UTF-16 unit: a 4-byte sequence stands for two units.
    int getMaxUnitSize() const override { return 3; }
    int getNullCharSize() const override { return 1; }
};

#endif
