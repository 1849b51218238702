// Feeds arbitrary bytes through the four Unicode converters: as UTF-8 and
// escaped text, as UTF-16 units and as UTF-32 values, in both directions and
// through the counts. Every output buffer is a heap block of exactly the size
// the call may use, so any write or read beyond it trips the address checker;
// the results are also checked against the buffer sizes.
#include <vynulib/converters/VynCharSetConverterUTF16.h>
#include <vynulib/converters/VynCharSetConverterUTF32.h>
#include <vynulib/converters/VynCharSetConverterUTF8.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

unsigned long const ALL = static_cast<unsigned long>(-1);
ILLCHAR_OPTYPE const kOps[] = {ILLCHAR_STOP, ILLCHAR_REPLACE, ILLCHAR_ESCAPE,
                               static_cast<ILLCHAR_OPTYPE>(3)};
int const kLimits[] = {-1, 0, 1, 2, 5, 64};

void check(bool ok) {
    if (!ok) std::abort();
}

// Capacities around the small sizes where characters get cut, plus one that
// holds everything.
std::vector<unsigned long> capacities(size_t len) {
    return {0, 1, 2, 3, 4, 5, 6, 7, 11, static_cast<unsigned long>(len * 6 + 8)};
}

template <class T> std::unique_ptr<T[]> exact(size_t n) {
    return std::unique_ptr<T[]>(new T[n]);
}

// Byte side -> UTF-16, for converters whose byte side is terminated by a zero
// byte (UTF-8, escaped UTF-16).
void decodeBytes(VynCharSetConverter& c, unsigned char const* src, size_t len) {
    for (unsigned long cap : capacities(len)) {
        for (int limit : kLimits) {
            auto dst = exact<unsigned short>(cap + 1);
            bool flag;
            unsigned long r = c.toUTF16(dst.get(), src, cap, ILLCHAR_REPLACE, &flag, limit);
            check(r <= cap && dst[r] == 0);
        }
    }
    unsigned long n = c.getNumUnits(src, ALL);
    check(n <= len * 2);
    c.getNumUnits(src, len);
    c.getNumUnits(src, len / 2);
}

// UTF-16 -> byte side, for converters with a one-byte terminator.
void encodeBytes(VynCharSetConverter& c, unsigned short const* src, size_t units) {
    for (unsigned long cap : capacities(units)) {
        for (ILLCHAR_OPTYPE op : kOps) {
            auto dst = exact<unsigned char>(cap + 1);
            bool flag;
            unsigned long r = c.fromUTF16(dst.get(), src, cap, op, &flag);
            check(r <= cap && dst[r] == 0);
        }
    }
    c.getNumBytes(src, ALL);
    c.getNumBytes(src, units);
    c.getNumBytes(src, units / 2 + 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    static VynCharSetConverterUTF8 utf8(VYNCS_UTF8);
    static VynCharSetConverterUTF16 utf16(VYNCS_UTF16);
    static VynCharSetConverterUTF16Esc esc(VYNCS_UTF16ESC);
    static VynCharSetConverterUTF32 utf32(VYNCS_UTF32);

    // The input as a terminated byte string (cut at an inner zero byte, as a
    // caller's string would be).
    auto bytes = exact<unsigned char>(size + 1);
    std::memcpy(bytes.get(), data, size);
    bytes[size] = 0;
    size_t const blen = std::strlen(reinterpret_cast<char*>(bytes.get()));

    // The input as terminated UTF-16 units and UTF-32 values.
    size_t const nu = size / 2, nv = size / 4;
    auto units = exact<unsigned short>(nu + 1);
    std::memcpy(units.get(), data, nu * 2);
    units[nu] = 0;
    auto values = exact<unsigned int>(nv + 1);
    std::memcpy(values.get(), data, nv * 4);
    values[nv] = 0;
    size_t ulen = 0;
    while (units[ulen] != 0) ++ulen;

    decodeBytes(utf8, bytes.get(), blen);
    decodeBytes(esc, bytes.get(), blen);
    encodeBytes(utf8, units.get(), ulen);
    encodeBytes(esc, units.get(), ulen);

    for (unsigned long cap : capacities(nu)) {
        for (int limit : kLimits) {
            auto d16 = exact<unsigned short>(cap + 1);
            unsigned long r =
                utf16.toUTF16(d16.get(), units.get(), cap, ILLCHAR_STOP, nullptr, limit);
            check(r <= cap && d16[r] == 0);
            auto d16b = exact<unsigned short>(cap + 1);
            r = utf32.toUTF16(d16b.get(), values.get(), cap, ILLCHAR_STOP, nullptr, limit);
            check(r <= cap && d16b[r] == 0);
        }
        for (ILLCHAR_OPTYPE op : kOps) {
            // Byte capacities; the UTF-16 terminator takes two bytes, the
            // UTF-32 one four.
            auto b16 = exact<unsigned char>(cap + 2);
            unsigned long r = utf16.fromUTF16(b16.get(), units.get(), cap, op, nullptr);
            check(r <= cap && r % 2 == 0 && b16[r] == 0 && b16[r + 1] == 0);
            auto b32 = exact<unsigned char>(cap + 4);
            r = utf32.fromUTF16(b32.get(), units.get(), cap, op, nullptr);
            check(r <= cap && r % 4 == 0);
            // UTF-32 -> UTF-8 may end one byte into the terminator slot.
            auto u8 = exact<unsigned char>(cap + 1);
            bool flag;
            r = utf32.toUTF8(u8.get(), values.get(), cap, op, &flag);
            check(r <= cap + 1);
            check(r == cap + 1 || u8[r] == 0);
        }
        auto v32 = exact<unsigned int>(cap + 1);
        unsigned long r = utf32.fromUTF8(v32.get(), bytes.get(), cap, ILLCHAR_STOP, nullptr);
        check(r <= cap && v32[r] == 0);
    }

    // One sequence at a time must always move forward and stay in the string.
    unsigned char* p = bytes.get();
    unsigned char* const end = bytes.get() + blen;
    while (p < end) {
        unsigned char* before = p;
        utf32.UTF32fromUTF8(&p);
        check(p > before && p <= end);
    }

    utf16.getNumUnits(units.get(), ALL);
    utf16.getNumUnits(units.get(), nu * 2);
    utf16.getNumBytes(units.get(), ALL);
    utf32.getNumUnits(values.get(), ALL);
    utf32.getNumUnits(values.get(), nv * 4);
    utf32.getNumBytes(units.get(), ALL);
    utf32.getNumBytes(units.get(), ulen);
    return 0;
}
