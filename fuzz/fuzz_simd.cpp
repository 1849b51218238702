// The vector paths against the scalar one. Byte 0 picks a set, byte 1 a
// capacity, byte 2 a source limit and an illegal-character option; the rest
// is the source, read as bytes and as UTF-16 units. Every conversion runs
// once with the scalar loops and once on each vector level the machine has;
// output (the whole buffer, past the terminator included), return value and
// flag must be the same. Sources sit at the very end of exactly sized heap
// blocks, so a kernel that reads past a terminator is caught too.
#include <vynulib/charset/VynCharSet.h>
#include <vynulib/converters/VynCharSetConverter.h>
#include <vynulib/internal/VynCatalogue.h>
#include <vynulib/internal/VynSimd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

// Every served set, from the library's catalogue; byte 0 picks one.
auto const& kSets = vyn::catalogue::kServed;

void check(bool ok) {
    if (!ok) std::abort();
}

struct Outcome {
    std::vector<unsigned char> m_aBytes;
    unsigned long m_uRet[8];
    bool m_bFlag[4];
    bool operator==(Outcome const& o) const {
        return m_aBytes == o.m_aBytes && std::memcmp(m_uRet, o.m_uRet, sizeof m_uRet) == 0 &&
               std::memcmp(m_bFlag, o.m_bFlag, sizeof m_bFlag) == 0;
    }
};

template <class T> void append(std::vector<unsigned char>& v, T const* p, std::size_t n) {
    auto const* b = reinterpret_cast<unsigned char const*>(p);
    v.insert(v.end(), b, b + n * sizeof(T));
}

Outcome runAll(VynCharSet cs, std::vector<unsigned char> const& bytes,
               std::vector<unsigned short> const& units, unsigned long cap, int limit,
               ILLCHAR_OPTYPE op) {
    VynCharSetConverter* c = VynCharSetConverter::getConverter(cs);
    Outcome o{};
    // The source bytes as the last bytes of their own block.
    std::vector<unsigned char> src(bytes);
    std::vector<unsigned short> dst16(cap + 1, 0xBEEF);
    o.m_uRet[0] = c->toUTF16(dst16.data(), src.data(), cap, op, &o.m_bFlag[0], limit);
    append(o.m_aBytes, dst16.data(), dst16.size());
    std::vector<unsigned short> usrc(units);
    std::vector<unsigned char> dst8(cap + 4, 0xEE);
    o.m_uRet[1] = c->fromUTF16(dst8.data(), usrc.data(), cap, op, &o.m_bFlag[1]);
    append(o.m_aBytes, dst8.data(), dst8.size());
    // The entry points, with the same capacity as a buffer size.
    unsigned long const size = cap + 1;
    std::vector<unsigned char> e8(size, 0xEE);
    // The entry points read a byte text in the local set: with the UTF-16 and
    // UTF-32 sets as local sets they would read past these byte strings.
    if (c->getNullCharSize() > 1) return o;
    o.m_uRet[2] = LocalToUTF8(e8.data(), reinterpret_cast<char const*>(src.data()), size, cs);
    append(o.m_aBytes, e8.data(), e8.size());
    std::fill(e8.begin(), e8.end(), 0xEE);
    o.m_uRet[3] = UTF8ToLocal(reinterpret_cast<char*>(e8.data()), src.data(), size, cs);
    append(o.m_aBytes, e8.data(), e8.size());
    std::fill(e8.begin(), e8.end(), 0xEE);
    o.m_uRet[4] = UTF16ToLocal(reinterpret_cast<char*>(e8.data()), usrc.data(), size, cs);
    append(o.m_aBytes, e8.data(), e8.size());
    std::fill(e8.begin(), e8.end(), 0xEE);
    o.m_uRet[5] = UTF16ToUTF8(e8.data(), usrc.data(), size);
    append(o.m_aBytes, e8.data(), e8.size());
    std::vector<unsigned short> e16(size, 0xBEEF);
    o.m_uRet[6] = static_cast<unsigned long>(LocalToUTF16(
        e16.data(), reinterpret_cast<char const*>(src.data()), static_cast<int>(size), cs));
    append(o.m_aBytes, e16.data(), e16.size());
    std::fill(e16.begin(), e16.end(), 0xBEEF);
    o.m_uRet[7] = UTF8ToUTF16(e16.data(), src.data(), size);
    append(o.m_aBytes, e16.data(), e16.size());
    return o;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    if (size < 3) return 0;
    VynCharSet const cs = kSets[data[0] % (sizeof kSets / sizeof *kSets)];
    // Capacities up to a few blocks, so that they end inside a vector block.
    unsigned long const cap = data[1] < 250 ? data[1] : 100000;
    int const limits[] = {-1, 0, 1, 3, 16, 33, 64, 200};
    int const limit = limits[data[2] & 7];
    ILLCHAR_OPTYPE const op = static_cast<ILLCHAR_OPTYPE>((data[2] >> 3) % 3);
    data += 3;
    size -= 3;
    // Terminated copies: as bytes, and as units (zero units inside end them early).
    std::vector<unsigned char> bytes(data, data + size);
    bytes.resize((size + 3) / 4 * 4 + 4, 0); // a whole zero value for UTF-32
    std::vector<unsigned short> units(size / 2 + 1, 0);
    std::memcpy(units.data(), data, size / 2 * 2);

    vyn::simd::Level const saved = vyn::simd::level();
    vyn::simd::setLevel(vyn::simd::kScalar);
    Outcome const want = runAll(cs, bytes, units, cap, limit, op);
    for (int l = vyn::simd::kSse2; l <= vyn::simd::bestLevel(); ++l) {
        vyn::simd::setLevel(static_cast<vyn::simd::Level>(l));
        check(runAll(cs, bytes, units, cap, limit, op) == want);
    }
    vyn::simd::setLevel(saved);
    return 0;
}
