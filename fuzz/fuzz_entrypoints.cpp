// Drives the fifteen free conversion functions with fuzzed sets, sizes and
// sources. Every output buffer is a heap block of exactly the size passed, so
// a write past it (terminator included) trips the address checker; sources
// end in eight zero bytes, enough to terminate them as bytes, UTF-16 units or
// UTF-32 values whatever set reads them.
//
// Input: byte 0 picks the set, byte 1 the unsigned size, byte 2 the signed
// size of the functions that take an int; the rest is the source.
#include <vynulib/charset/VynCharSet.h>
#include <vynulib/internal/VynCatalogue.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <vector>

namespace {

// The default, the served sets, the named sets without a converter of their
// own, and two values without a name, from the library's catalogue.
std::vector<VynCharSet> const kSets = [] {
    using vyn::catalogue::Family;
    std::vector<VynCharSet> v = {VYNCS_OS_DEFAULT};
    for (auto const& e : vyn::catalogue::kNamed)
        if (e.family != Family::None) v.push_back(e.cs);
    for (auto const& e : vyn::catalogue::kNamed)
        if (e.family == Family::None && e.cs != VYNCS_OS_DEFAULT) v.push_back(e.cs);
    v.push_back(static_cast<VynCharSet>(0));
    v.push_back(static_cast<VynCharSet>(28602));
    return v;
}();
size_t const kNumSets = kSets.size();

void check(bool ok) {
    if (!ok) std::abort();
}

template <class T> std::unique_ptr<T[]> exact(size_t n) {
    // Never a zero-sized block: a size of 0 still gets a pointer that must
    // not be written through, and the one element it has is never checked.
    return std::unique_ptr<T[]>(new T[n ? n : 1]);
}

bool zeros(char const* p, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (p[i]) return false;
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    if (size < 3) return 0;
    VynCharSet const cs = kSets[data[0] % kNumSets];
    unsigned long const usize = data[1];
    int const isize = static_cast<signed char>(data[2]);
    data += 3;
    size -= 3;

    auto src = exact<char>(size + 8);
    std::memcpy(src.get(), data, size);
    std::memset(src.get() + size, 0, 8);
    auto const* usrc = reinterpret_cast<unsigned char const*>(src.get());
    size_t const nu = size / 2;
    auto units = exact<unsigned short>(nu + 1);
    std::memcpy(units.get(), data, nu * 2);
    units[nu] = 0;

    int const t = GetNullCharSize(cs);
    int const mn = GetMinUnitSize(cs), mx = GetMaxUnitSize(cs);
    check((t == 1 || t == 2 || t == 4) && mn >= 1 && mn <= mx && mx <= 6);

    {
        auto dst = exact<unsigned char>(usize);
        unsigned long r = LocalToUTF8(dst.get(), src.get(), usize, cs);
        check(usize == 0 ? r == 0 : r < usize && dst[r] == 0);
    }
    {
        auto dst = exact<unsigned short>(usize);
        unsigned long r = UTF8ToUTF16(dst.get(), usrc, usize);
        check(usize == 0 ? r == 0 : r < usize && dst[r] == 0);
    }
    {
        auto dst = exact<unsigned char>(usize);
        unsigned long r = UTF16ToUTF8(dst.get(), units.get(), usize);
        check(usize == 0 ? r == 0 : r < usize && dst[r] == 0);
    }
    for (bool toSet : {true, false}) {
        // A result other than 0 leaves room for the set's whole terminator.
        auto dst = exact<char>(usize);
        unsigned long r = toSet ? UTF8ToLocal(dst.get(), usrc, usize, cs)
                                : UTF16ToLocal(dst.get(), units.get(), usize, cs);
        if (r != 0) check(r + t <= usize && zeros(dst.get() + r, t));
    }
    {
        int const n = isize < 0 ? 1 : isize;
        auto dst = exact<unsigned short>(n);
        int r = LocalToUTF16(dst.get(), src.get(), isize, cs);
        check(isize < 1 ? r == 0 : r >= 0 && r < isize && dst[r] == 0);
    }
    {
        int const n = isize < 0 ? 1 : isize;
        auto out = exact<unsigned char>(n);
        int r = LocalPathToUTF8(out.get(), src.get(), isize);
        check(isize < 1 ? r == 0 : r >= 0 && r < isize && (r == 0 || out[r] == 0));
        auto local = exact<char>(n);
        r = UTF8ToLocalPath(local.get(), usrc, isize);
        check(isize < 1 ? r == 0 : r >= 0 && r < isize);
        if (r > 0) {
            // The default set's text, escapes included, reads back as a path.
            check(zeros(local.get() + r, static_cast<size_t>(GetNullCharSize(VYNCS_OS_DEFAULT))));
            auto back = exact<unsigned char>(static_cast<size_t>(r) * 3 + 1);
            int b = LocalPathToUTF8(back.get(), local.get(), r * 3 + 1);
            check(b >= 0 && b <= r * 3 && back[b] == 0);
        }
    }

    GetNumUnits(src.get(), cs);
    GetNumBytes(units.get(), cs);
    int const wl = VynCharSetWStrlen(units.get());
    check(wl >= 0 && static_cast<size_t>(wl) <= nu && units[wl] == 0);
    auto copy = exact<unsigned short>(static_cast<size_t>(wl) + 1);
    std::memcpy(copy.get(), units.get(), (static_cast<size_t>(wl) + 1) * 2);
    check(VynCharSetWStrEqual(units.get(), copy.get()));
    check(!VynCharSetWStrEqual(units.get(), nullptr) && !VynCharSetWStrEqual(nullptr, copy.get()));
    if (wl > 0) {
        copy[wl - 1] ^= 1;
        check(!VynCharSetWStrEqual(units.get(), copy.get()));
    }
    return 0;
}
