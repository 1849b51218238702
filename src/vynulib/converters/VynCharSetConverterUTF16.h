// UTF-16 in the machine's byte order (a bounded copy) and the escaped form, a
// 7-bit text in which every unit of 0x80 or more is written as "U+%04X".
#ifndef VYNULIB_CONVERTERS_VYNCHARSETCONVERTERUTF16_H
#define VYNULIB_CONVERTERS_VYNCHARSETCONVERTERUTF16_H

#include <vynulib/converters/VynCharSetConverter.h>

class VYN_API VynCharSetConverterUTF16 : public VynCharSetConverter {
public:
    explicit VynCharSetConverterUTF16(VynCharSet cs) : VynCharSetConverter(cs) {}
    ~VynCharSetConverterUTF16() override;

    unsigned long getNumUnits(void const* src, unsigned long len) override;
    unsigned long toUTF16(unsigned short* dst, void const* src, unsigned long dstUnits,
                          ILLCHAR_OPTYPE op, bool* illegal, int maxSrc) override;
    unsigned long getNumBytes(unsigned short const* src, unsigned long len) override;
    unsigned long fromUTF16(void* dst, unsigned short const* src, unsigned long dstCap,
                            ILLCHAR_OPTYPE op, bool* illegal) override;
    int getMinUnitSize() const override { return 2; }
    int getMaxUnitSize() const override { return 2; }
    int getNullCharSize() const override { return 2; }
};

class VYN_API VynCharSetConverterUTF16Esc : public VynCharSetConverter {
public:
    explicit VynCharSetConverterUTF16Esc(VynCharSet cs) : VynCharSetConverter(cs) {}
    ~VynCharSetConverterUTF16Esc() override;

    unsigned long getNumUnits(void const* src, unsigned long len) override;
    unsigned long toUTF16(unsigned short* dst, void const* src, unsigned long dstUnits,
                          ILLCHAR_OPTYPE op, bool* illegal, int maxSrc) override;
    unsigned long getNumBytes(unsigned short const* src, unsigned long len) override;
    unsigned long fromUTF16(void* dst, unsigned short const* src, unsigned long dstCap,
                            ILLCHAR_OPTYPE op, bool* illegal) override;
    int getMinUnitSize() const override { return 1; }
    int getMaxUnitSize() const override { return 6; }
    int getNullCharSize() const override { return 1; }
};

#endif
