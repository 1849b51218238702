// The two path functions: UTF8ToLocalPath, which keeps what the default set
// cannot hold as "U+%04X" text, and LocalPathToUTF8, which turns such text
// back into the character. The default set is fixed when the library loads,
// so CTest and tools/fuzz.sh run this target under several values of LANG.
//
// Input: byte 0 is a small signed size (-2 to 253); the rest is a file name,
// read both as UTF-8 and as the default set's bytes.
//
// Checked: results stay inside every size and are terminated there; a small
// size gives a prefix of what a large one gives (output is cut, never
// changed); 6 bytes of room per source byte always suffice (vynconv --path
// relies on it); LocalPathToUTF8 decodes exactly the "U+" followed by four
// upper-case hexadecimal digits that a plain model of the rule finds; and a
// name without such text survives UTF8ToLocalPath then LocalPathToUTF8 unit
// for unit.
#include <vynulib/charset/VynCharSet.h>
#include <vynulib/converters/VynCharSetConverter.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

namespace {

void check(bool ok) {
    if (!ok) std::abort();
}

template <class T> std::unique_ptr<T[]> exact(size_t n) {
    return std::unique_ptr<T[]>(new T[n ? n : 1]);
}

using Bytes = std::vector<unsigned char>;
using Units = std::vector<unsigned short>;

bool zeros(unsigned char const* p, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (p[i]) return false;
    return true;
}

bool isHex(unsigned short u) {
    return (u >= '0' && u <= '9') || (u >= 'A' && u <= 'F');
}

unsigned hexValue(unsigned short u) {
    return u <= '9' ? u - '0' : u - 'A' + 10;
}

// Where "U+HHHH" starts at i, with the five units after the 'U' inside the text.
bool escapeAt(Units const& u, size_t i) {
    if (i + 5 >= u.size() || u[i] != 'U' || u[i + 1] != '+') return false;
    for (size_t k = i + 2; k < i + 6; ++k)
        if (!isHex(u[k])) return false;
    return true;
}

// The rule LocalPathToUTF8 applies, written plainly: each escape becomes its
// unit, and scanning goes on after that unit.
Units unescape(Units const& u) {
    Units out;
    for (size_t i = 0; i < u.size(); ++i) {
        if (escapeAt(u, i)) {
            unsigned v = 0;
            for (size_t k = i + 2; k < i + 6; ++k) v = v * 16 + hexValue(u[k]);
            if (v == 0) break; // "U+0000" ends the name
            out.push_back(static_cast<unsigned short>(v));
            i += 5;
        } else {
            out.push_back(u[i]);
        }
    }
    return out;
}

// UTF-16 units of UTF-8 bytes, through the UTF-8 converter, up to the first
// zero unit: the decoder reads C0 80 as U+0000, and a name ends there.
Units unitsOfUtf8(unsigned char const* s, size_t len) {
    auto src = exact<unsigned char>(len + 1);
    if (len) std::memcpy(src.get(), s, len);
    src[len] = 0;
    auto dst = exact<unsigned short>(len + 1);
    unsigned long n = VynCharSetConverter::getConverter(VYNCS_UTF8)
                          ->toUTF16(dst.get(), src.get(), len, ILLCHAR_REPLACE, nullptr, -1);
    check(n <= len);
    return Units(dst.get(), std::find(dst.get(), dst.get() + n, 0));
}

// UTF8ToLocalPath into a block of exactly `size` bytes (at least one).
Bytes toLocal(unsigned char const* src, int size, size_t term) {
    auto dst = exact<char>(static_cast<size_t>(size > 0 ? size : 0));
    int r = UTF8ToLocalPath(dst.get(), src, size);
    if (size < 1) {
        check(r == 0);
        return Bytes();
    }
    check(r >= 0 && r < size);
    auto const* p = reinterpret_cast<unsigned char const*>(dst.get());
    if (r > 0)
        check(static_cast<size_t>(r) + term <= static_cast<size_t>(size) && zeros(p + r, term));
    return Bytes(p, p + r);
}

// LocalPathToUTF8 into a block of exactly `size` bytes (at least one).
Bytes toUtf8(char const* src, int size) {
    auto dst = exact<unsigned char>(static_cast<size_t>(size > 0 ? size : 0));
    int r = LocalPathToUTF8(dst.get(), src, size);
    if (size < 1) {
        check(r == 0);
        return Bytes();
    }
    check(r >= 0 && r < size);
    if (r > 0) check(dst[r] == 0);
    return Bytes(dst.get(), dst.get() + r);
}

bool isPrefix(Bytes const& a, Bytes const& b) {
    return a.size() <= b.size() && std::equal(a.begin(), a.end(), b.begin());
}

bool hasEscape(Units const& u) {
    for (size_t i = 0; i < u.size(); ++i)
        if (escapeAt(u, i)) return true;
    return false;
}

bool hasLoneSurrogate(Units const& u) {
    for (size_t i = 0; i < u.size(); ++i) {
        bool hi = u[i] >= 0xD800 && u[i] <= 0xDBFF, lo = u[i] >= 0xDC00 && u[i] <= 0xDFFF;
        if (lo) return true;
        if (hi) {
            if (i + 1 == u.size() || u[i + 1] < 0xDC00 || u[i + 1] > 0xDFFF) return true;
            ++i;
        }
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    if (size < 1) return 0;
    int const small = static_cast<int>(data[0]) - 2;
    ++data;
    --size;
    if (size > 4096) return 0; // names, not documents

    // The name, terminated as callers pass it; it ends at its first NUL.
    auto name = exact<unsigned char>(size + 1);
    std::memcpy(name.get(), data, size);
    name[size] = 0;
    size_t const len = std::strlen(reinterpret_cast<char const*>(name.get()));
    auto const* bytes = reinterpret_cast<char const*>(name.get());

    size_t const term = static_cast<size_t>(GetNullCharSize(VYNCS_OS_DEFAULT));
    int const room = static_cast<int>(len * 6 + 16);

    // UTF-8 to the default set: enough room, then twice as much (nothing
    // more may come out), then a small size (a prefix of it).
    Bytes const local = toLocal(name.get(), room, term);
    check(toLocal(name.get(), room * 2, term) == local);
    check(isPrefix(toLocal(name.get(), small, term), local));

    // The default set's bytes back to UTF-8, the same three ways.
    auto localz = exact<char>(local.size() + term);
    if (!local.empty()) std::memcpy(localz.get(), local.data(), local.size());
    std::memset(localz.get() + local.size(), 0, term);
    int const back_room = static_cast<int>(local.size() * 3 + 16);
    Bytes const back = toUtf8(localz.get(), back_room);
    check(toUtf8(localz.get(), back_room * 2) == back);
    check(isPrefix(toUtf8(localz.get(), small), back));

    // A name without escape text and without lone surrogates comes back unit
    // for unit: what the default set holds as itself, the rest as escapes.
    Units const original = unitsOfUtf8(name.get(), len);
    if (!hasEscape(original) && !hasLoneSurrogate(original))
        check(unitsOfUtf8(back.data(), back.size()) == original);

    // The input read as the default set's bytes: LocalPathToUTF8 must decode
    // exactly the escapes the model finds, and nothing is cut with 3 bytes of
    // room per source byte. Only single-byte-terminated sets here: a name is
    // a terminated byte string.
    if (term == 1) {
        VynCharSetConverter* def = VynCharSetConverter::getConverter(VYNCS_OS_DEFAULT);
        auto units = exact<unsigned short>(len + 1);
        unsigned long n = def->toUTF16(units.get(), bytes, len, ILLCHAR_REPLACE, nullptr, -1);
        check(n <= len);
        // Decoded text ends at a zero unit (C0 80 in UTF-8) as the name does.
        Units const want = unescape(Units(units.get(), std::find(units.get(), units.get() + n, 0)));
        Bytes const got = toUtf8(bytes, static_cast<int>(len * 3 + 16));
        check(unitsOfUtf8(got.data(), got.size()) == want || hasLoneSurrogate(want));
        check(isPrefix(toUtf8(bytes, small), got));
    }
    return 0;
}
