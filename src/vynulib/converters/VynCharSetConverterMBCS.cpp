#include <vynulib/converters/VynCharSetConverterMBCS.h>

#include <vynulib/converters/LookupTable.h>
#include <vynulib/converters/VynMutex.h>

// --- 16-bit tables ---------------------------------------------------------

VynCharSetConverterMBCS::VynCharSetConverterMBCS(unsigned short const* table, VynCharSet cs)
    : VynCharSetConverter(cs), m_pName(nullptr), m_pForward(nullptr), m_pReverse(nullptr),
      m_pTable(table) {
    pthread_mutex_init(&m_oMutex, nullptr);
}

VynCharSetConverterMBCS::VynCharSetConverterMBCS(char const* name, VynCharSet cs)
    : VynCharSetConverter(cs), m_pName(name), m_pForward(nullptr), m_pReverse(nullptr),
      m_pTable(nullptr) {
    pthread_mutex_init(&m_oMutex, nullptr);
}

VynCharSetConverterMBCS::~VynCharSetConverterMBCS() {
    delete m_pForward.load();
    delete m_pReverse.load();
    pthread_mutex_destroy(&m_oMutex);
}

void VynCharSetConverterMBCS::load() {
    // Fast path: once published, the tables are read without a lock.
    if (m_pForward.load(std::memory_order_acquire)) return;
    VynMutexLock lock(&m_oMutex);
    if (m_pForward.load(std::memory_order_relaxed) || !m_pTable) return;
    auto* fwd = new LookupTable<unsigned short>;
    auto* rev = new LookupTable<unsigned short>;
    // Later records win in the direction concerned.
    for (unsigned short const* r = m_pTable; r[0] != 0 || r[1] != 0; r += 2) {
        fwd->insert(r[0], r[1]);
        rev->insert(r[1], r[0]);
    }
    // Publish complete tables only; the forward pointer is the flag readers test.
    m_pReverse.store(rev, std::memory_order_release);
    m_pForward.store(fwd, std::memory_order_release);
}

// --- extended tables -------------------------------------------------------

VynCharSetConverterMBCSEx::VynCharSetConverterMBCSEx(sMBCSExTable const* table, VynCharSet cs)
    : VynCharSetConverter(cs), m_pName(nullptr), m_pForward(nullptr), m_pReverse(nullptr),
      m_pTable(table) {
    pthread_mutex_init(&m_oMutex, nullptr);
}

VynCharSetConverterMBCSEx::VynCharSetConverterMBCSEx(char const* name, VynCharSet cs)
    : VynCharSetConverter(cs), m_pName(name), m_pForward(nullptr), m_pReverse(nullptr),
      m_pTable(nullptr) {
    pthread_mutex_init(&m_oMutex, nullptr);
}

VynCharSetConverterMBCSEx::~VynCharSetConverterMBCSEx() {
    delete m_pForward.load();
    delete m_pReverse.load();
    pthread_mutex_destroy(&m_oMutex);
}

void VynCharSetConverterMBCSEx::load() {
    if (m_pForward.load(std::memory_order_acquire)) return;
    VynMutexLock lock(&m_oMutex);
    if (m_pForward.load(std::memory_order_relaxed) || !m_pTable) return;
    auto* fwd = new LookupTable<unsigned int>;
    auto* rev = new LookupTableEx<unsigned short>;
    for (sMBCSExTable const* r = m_pTable; r->code != 0 || r->unicode != 0; ++r) {
        fwd->insert(r->code, r->unicode);
        // Values beyond U+10FFFF enter the forward table only.
        if ((r->unicode >> 16) <= 16) rev->insert(r->unicode, static_cast<unsigned short>(r->code));
    }
    m_pReverse.store(rev, std::memory_order_release);
    m_pForward.store(fwd, std::memory_order_release);
}
