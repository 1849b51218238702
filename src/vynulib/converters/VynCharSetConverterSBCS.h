// Single-byte code pages (the Windows 125x and 874, ISO 8859, KOI8-R).
#ifndef VYNULIB_CONVERTERS_VYNCHARSETCONVERTERSBCS_H
#define VYNULIB_CONVERTERS_VYNCHARSETCONVERTERSBCS_H

#include <atomic>
#include <pthread.h>

#include <vynulib/converters/VynCharSetConverter.h>

template <class T> class LookupTable;

class VYN_API VynCharSetConverterSBCS : public VynCharSetConverter {
public:
    // map: 4-byte records (byte, 0, unit as an unsigned short) ended by (0, 0).
    VynCharSetConverterSBCS(unsigned short const* map, VynCharSet cs);
    // Records a name but no map: such an instance converts nothing.
    VynCharSetConverterSBCS(char const* name, VynCharSet cs);
    ~VynCharSetConverterSBCS() override;

    unsigned long getNumUnits(void const* src, unsigned long len) override;
    unsigned long toUTF16(unsigned short* dst, void const* src, unsigned long dstUnits,
                          ILLCHAR_OPTYPE op, bool* illegal, int maxSrc) override;
    unsigned long getNumBytes(unsigned short const* src, unsigned long len) override;
    unsigned long fromUTF16(void* dst, unsigned short const* src, unsigned long dstCap,
                            ILLCHAR_OPTYPE op, bool* illegal) override;
    int getMinUnitSize() const override { return 1; }
    int getMaxUnitSize() const override { return 1; }
    int getNullCharSize() const override { return 1; }

    // Builds the tables once, under the mutex; publishes them when complete.
    void load();

private:
    char const* m_pName;
    std::atomic<unsigned short*> m_pForward;             // 256 entries
    std::atomic<LookupTable<unsigned char>*> m_pReverse; // unit -> byte
    unsigned short const* m_pMap;
    pthread_mutex_t m_oMutex;
};

#endif
