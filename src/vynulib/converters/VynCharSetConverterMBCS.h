// Bases of the table-driven multibyte converters. They own a forward table
// (code -> Unicode) and a reverse table (Unicode -> code), built from a
// compiled mapping table on first use, once, under the converter's own mutex,
// and published only when complete: a conversion takes no lock once the
// tables exist.
#ifndef VYNULIB_CONVERTERS_VYNCHARSETCONVERTERMBCS_H
#define VYNULIB_CONVERTERS_VYNCHARSETCONVERTERMBCS_H

#include <atomic>
#include <pthread.h>

#include <vynulib/converters/VynCharSetConverter.h>
#include <vynulib/tables/VynTableRecords.h>

template <class T> class LookupTable;
template <class T> class LookupTableEx;

// 16-bit codes, 16-bit Unicode values. The compiled table is a sequence of
// (code, unicode) pairs of unsigned shorts ended by (0, 0).
class VYN_API VynCharSetConverterMBCS : public VynCharSetConverter {
public:
    VynCharSetConverterMBCS(unsigned short const* table, VynCharSet cs);
    // Records a name but no table: such an instance converts nothing.
    VynCharSetConverterMBCS(char const* name, VynCharSet cs);
    ~VynCharSetConverterMBCS() override;

    // Builds both tables once; later calls return at once without locking.
    virtual void load();

protected:
    // The published tables (acquire); null until load has built them.
    LookupTable<unsigned short> const* forwardTable() const {
        return m_pForward.load(std::memory_order_acquire);
    }
    LookupTable<unsigned short> const* reverseTable() const {
        return m_pReverse.load(std::memory_order_acquire);
    }

    char const* m_pName;
    std::atomic<LookupTable<unsigned short>*> m_pForward;
    std::atomic<LookupTable<unsigned short>*> m_pReverse;
    unsigned short const* m_pTable;
    pthread_mutex_t m_oMutex;
};

// 16-bit codes, Unicode scalar values beyond the BMP.
class VYN_API VynCharSetConverterMBCSEx : public VynCharSetConverter {
public:
    VynCharSetConverterMBCSEx(sMBCSExTable const* table, VynCharSet cs);
    VynCharSetConverterMBCSEx(char const* name, VynCharSet cs);
    ~VynCharSetConverterMBCSEx() override;

    virtual void load();

protected:
    LookupTable<unsigned int> const* forwardTable() const {
        return m_pForward.load(std::memory_order_acquire);
    }
    LookupTableEx<unsigned short> const* reverseTable() const {
        return m_pReverse.load(std::memory_order_acquire);
    }

    char const* m_pName;
    std::atomic<LookupTable<unsigned int>*> m_pForward;
    std::atomic<LookupTableEx<unsigned short>*> m_pReverse;
    sMBCSExTable const* m_pTable;
    pthread_mutex_t m_oMutex;
};

// Second base of the double-byte converters: the 256-byte lead-byte type
// table (0x40: may lead a two-byte character, 0x80: may trail one). A private
// base, not part of the interface: it is not exported.
class VynCharSetConverterDBCSBase {
protected:
    explicit VynCharSetConverterDBCSBase(unsigned char const* type) : m_pType(type) {}
    bool isLead(unsigned char b) const { return (m_pType[b] & 0x40) != 0; }
    bool isTrail(unsigned char b) const { return (m_pType[b] & 0x80) != 0; }

    unsigned char const* m_pType;
};

#define VYN_MBCS_OPERATIONS                                                                        \
    unsigned long getNumUnits(void const* src, unsigned long len) override;                        \
    unsigned long toUTF16(unsigned short* dst, void const* src, unsigned long dstUnits,            \
                          ILLCHAR_OPTYPE op, bool* illegal, int maxSrc) override;                  \
    unsigned long getNumBytes(unsigned short const* src, unsigned long len) override;              \
    unsigned long fromUTF16(void* dst, unsigned short const* src, unsigned long dstCap,            \
                            ILLCHAR_OPTYPE op, bool* illegal) override;

// Windows code pages 932, 936, 949, 950, Shift_JIS and Big5.
class VYN_API VynCharSetConverterDBCS : public VynCharSetConverterMBCS,
                                        private VynCharSetConverterDBCSBase {
public:
    VynCharSetConverterDBCS(unsigned short const* table, unsigned char const* type, VynCharSet cs);
    VynCharSetConverterDBCS(char const* name, unsigned char const* type, VynCharSet cs);
    ~VynCharSetConverterDBCS() override;

    VYN_MBCS_OPERATIONS
    int getMinUnitSize() const override { return 1; }
    int getMaxUnitSize() const override { return 2; }
    int getNullCharSize() const override { return 1; }
};

// Shift_JIS-2004: double-byte codes whose characters reach beyond the BMP.
class VYN_API VynCharSetConverterDBCSEx : public VynCharSetConverterMBCSEx,
                                          private VynCharSetConverterDBCSBase {
public:
    VynCharSetConverterDBCSEx(sMBCSExTable const* table, unsigned char const* type, VynCharSet cs);
    VynCharSetConverterDBCSEx(char const* name, unsigned char const* type, VynCharSet cs);
    ~VynCharSetConverterDBCSEx() override;

    VYN_MBCS_OPERATIONS
    int getMinUnitSize() const override { return 1; }
    int getMaxUnitSize() const override { return 2; }
    int getNullCharSize() const override { return 1; }
};

// EUC-CN (GB 2312) and EUC-KR (KS X 1001): ASCII plus one 94 x 94 set.
class VYN_API VynCharSetConverterEUC_CN_KR : public VynCharSetConverterMBCS {
public:
    VynCharSetConverterEUC_CN_KR(unsigned short const* table, VynCharSet cs);
    VynCharSetConverterEUC_CN_KR(char const* name, VynCharSet cs);
    ~VynCharSetConverterEUC_CN_KR() override;

    VYN_MBCS_OPERATIONS
    int getMinUnitSize() const override { return 1; }
    int getMaxUnitSize() const override { return 2; }
    int getNullCharSize() const override { return 1; }
};

// EUC-JP: ASCII, JIS X 0208, JIS X 0201 kana after SS2, JIS X 0212 after SS3.
class VYN_API VynCharSetConverterEUC_JP : public VynCharSetConverterMBCS {
public:
    VynCharSetConverterEUC_JP(unsigned short const* jis0208, unsigned short const* jis0201,
                              unsigned short const* jis0212, VynCharSet cs);
    VynCharSetConverterEUC_JP(char const* jis0208, char const* jis0201, char const* jis0212,
                              VynCharSet cs);
    ~VynCharSetConverterEUC_JP() override;

    void load() override;
    VYN_MBCS_OPERATIONS
    int getMinUnitSize() const override { return 1; }
    int getMaxUnitSize() const override { return 3; }
    int getNullCharSize() const override { return 1; }

    static unsigned char const m_cSS2 = 0x8E;
    static unsigned char const m_cSS3 = 0x8F;

protected:
    char const* m_pName0201;
    char const* m_pName0212;
    std::atomic<LookupTable<unsigned short>*> m_pForward0212;
    std::atomic<LookupTable<unsigned short>*> m_pReverse0212;
    unsigned short const* m_pTable0201;
    unsigned short const* m_pTable0212;
    pthread_mutex_t m_oMutex0212;
};

// GB18030: ASCII, the two-byte GBK area by table, the four-byte BMP area by
// ranges, the supplementary planes by arithmetic.
class VYN_API VynCharSetConverterGB18030 : public VynCharSetConverterMBCS {
public:
    VynCharSetConverterGB18030(unsigned short const* table, VynCharSet cs);
    VynCharSetConverterGB18030(char const* name, VynCharSet cs);
    ~VynCharSetConverterGB18030() override;

    void load() override;
    VYN_MBCS_OPERATIONS
    int getMinUnitSize() const override { return 1; }
    int getMaxUnitSize() const override { return 4; }
    int getNullCharSize() const override { return 1; }

    // The range record to start a search from, for a key / a UTF-16 unit.
    sGBRange const* getGB2UniRange(unsigned int key) const;
    sGBRange const* getUni2GBRange(unsigned int unit) const;

    static constexpr unsigned kDecodeBuckets = 287;
    static constexpr unsigned kEncodeBuckets = 512;

protected:
    std::atomic<sGBRange const**> m_pDecodeIndex;
    std::atomic<sGBRange const**> m_pEncodeIndex;
    pthread_mutex_t m_oRangeMutex;
};

#undef VYN_MBCS_OPERATIONS

#endif
