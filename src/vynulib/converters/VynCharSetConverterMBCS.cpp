#include <vynulib/converters/VynCharSetConverterMBCS.h>

#include <vynulib/internal/LookupTable.h>
#include <vynulib/internal/VynBuildOnce.h>

using vyn::detail::buildOnce;

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

// The forward table is the flag; the reverse one is stored before it.
void VynCharSetConverterMBCS::load() {
    buildOnce(m_pForward, m_oMutex, [this]() -> LookupTable<unsigned short>* {
        if (!m_pTable) return nullptr;
        auto* fwd = new LookupTable<unsigned short>;
        auto* rev = new LookupTable<unsigned short>;
        // Later records win in the direction concerned.
        for (unsigned short const* r = m_pTable; r[0] != 0 || r[1] != 0; r += 2) {
            fwd->insert(r[0], r[1]);
            rev->insert(r[1], r[0]);
        }
        m_pReverse.store(rev, std::memory_order_relaxed);
        return fwd;
    });
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
    buildOnce(m_pForward, m_oMutex, [this]() -> LookupTable<unsigned int>* {
        if (!m_pTable) return nullptr;
        auto* fwd = new LookupTable<unsigned int>;
        auto* rev = new LookupTableEx<unsigned short>;
        for (sMBCSExTable const* r = m_pTable; r->code != 0 || r->unicode != 0; ++r) {
            fwd->insert(r->code, r->unicode);
            // Values beyond U+10FFFF enter the forward table only.
            if ((r->unicode >> 16) <= 16)
                rev->insert(r->unicode, static_cast<unsigned short>(r->code));
        }
        m_pReverse.store(rev, std::memory_order_relaxed);
        return fwd;
    });
}
