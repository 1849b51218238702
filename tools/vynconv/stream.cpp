// Streaming conversion: reading, cutting, strict Unicode decoding, error
// location, encoding. The converters do the character work of the table sets;
// this file decides what to hand them and reads back what they did.
//
// Every input byte is looked at a bounded number of times: a region is cut at a
// place found within a bounded distance of its end, or else where the decoding
// itself stopped; an invalid character costs a few converter calls on a window
// of a few bytes after the last one.
#include "stream.h"

#include "translit.h"

#include <vynulib/internal/VynConvertCommon.h>
#include <vynulib/internal/VynUtf8.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

using vyn::detail::isUtf8Cont;

namespace vynconv {
namespace {

// Zero bytes behind every source handed to a converter: a terminator of any
// width plus slack for converters that look a few elements ahead. The UTF-8
// encoder, escaping a lone high surrogate, skips the unit after it even when
// that is the terminator; the slack gives it more zeros to stop at instead of
// reading past the buffer.
constexpr size_t kPad = 16;
// Most bytes a region keeps for the next one (a cut searched this far back).
constexpr size_t kLookBack = 64;
constexpr size_t kHold = 2 * kLookBack;
// Windows for locating invalid characters: small after one, growing while
// the input is clean.
constexpr size_t kMinWindow = 16, kMaxWindow = 4096;
// Bytes decoded per converter call while locating invalid characters.
// UTF-16 units encoded per converter call.
constexpr size_t kBatch = 16384;
// Output bytes one UTF-16 unit can become: six UTF-32 values of an escape.
constexpr size_t kMaxOutPerUnit = 24;
constexpr size_t kNone = static_cast<size_t>(-1);

bool isHigh(unsigned short u) {
    return u >= 0xD800 && u <= 0xDBFF;
}
bool isLow(unsigned short u) {
    return u >= 0xDC00 && u <= 0xDFFF;
}
bool isSurrogate(uint32_t u) {
    return u >= 0xD800 && u <= 0xDFFF;
}

uint16_t load16(uint8_t const* p, bool big) {
    return big ? static_cast<uint16_t>(p[0] << 8 | p[1]) : static_cast<uint16_t>(p[1] << 8 | p[0]);
}
uint32_t load32(uint8_t const* p, bool big) {
    return big ? uint32_t(p[0]) << 24 | uint32_t(p[1]) << 16 | uint32_t(p[2]) << 8 | p[3]
               : uint32_t(p[3]) << 24 | uint32_t(p[2]) << 16 | uint32_t(p[1]) << 8 | p[0];
}
void swapUnits(uint8_t* p, size_t n, size_t width) {
    for (size_t i = 0; i + width <= n; i += width) std::reverse(p + i, p + i + width);
}

std::string hexBytes(uint8_t const* p, size_t n) {
    std::string s = n == 1 ? "byte" : "bytes";
    char b[4];
    for (size_t i = 0; i < n; ++i) {
        std::snprintf(b, sizeof b, " %02X", p[i]);
        s += b;
    }
    return s;
}

std::string describeChar(unsigned short const* u, size_t n) {
    char b[48];
    if (n == 2)
        std::snprintf(b, sizeof b, "U+%04lX",
                      0x10000ul + ((u[0] - 0xD800ul) << 10) + (u[1] - 0xDC00ul));
    else if (isHigh(u[0]) || isLow(u[0]))
        std::snprintf(b, sizeof b, "U+%04X (a lone surrogate)", u[0]);
    else
        std::snprintf(b, sizeof b, "U+%04X", u[0]);
    return b;
}

// UTF-8 lead bytes: length | lowest second byte << 8 | highest << 16. The
// narrowed ranges after E0, ED, F0 and F4 rule out overlong forms, encoded
// surrogates and values above U+10FFFF.
struct Utf8LeadTable {
    uint32_t v[256];
    constexpr Utf8LeadTable() : v() {
        for (unsigned b = 0; b < 0x80; ++b) v[b] = 1;
        for (unsigned b = 0xC2; b < 0xF5; ++b) {
            uint32_t len = b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
            uint32_t lo = b == 0xE0 ? 0xA0 : b == 0xF0 ? 0x90 : 0x80;
            uint32_t hi = b == 0xED ? 0x9F : b == 0xF4 ? 0x8F : 0xBF;
            v[b] = len | lo << 8 | hi << 16;
        }
    }
};
constexpr Utf8LeadTable kUtf8LeadTable;
constexpr uint32_t const* kUtf8Lead = kUtf8LeadTable.v;

ssize_t readSome(int fd, void* p, size_t n) {
    for (;;) {
        ssize_t r = ::read(fd, p, n);
        if (r >= 0 || errno != EINTR) return r;
    }
}

} // namespace

StreamConverter::StreamConverter(StreamOptions const& opt, Output& out)
    : opt_(opt), dec_(VynCharSetConverter::getConverter(opt.from.cs)),
      enc_(VynCharSetConverter::getConverter(opt.to.cs)), out_(out) {
    if (!opt_.chunk) opt_.chunk = kDefaultChunk;
    inUnit_ = static_cast<size_t>(dec_->getNullCharSize());
    outNul_ = static_cast<size_t>(enc_->getNullCharSize());
    maxUnit_ = static_cast<size_t>(std::max(1, dec_->getMaxUnitSize()));
    outBig_ = opt_.to.bigEndian;
    setRules();
    mayHaveLone_ = family_ == Family::Utf16Esc ||
                   (opt_.lenient && (family_ == Family::Utf8 || family_ == Family::Utf16 ||
                                     family_ == Family::Utf32));
    // The multibyte sets look back up to half a chunk for a byte that ends a
    // character (text in them may go long without one): the buffer holds what
    // such a cut keeps back.
    lookBack_ = family_ == Family::Multi ? std::max(kLookBack, opt_.chunk / 2) : kLookBack;
    buf_.resize(opt_.chunk + lookBack_ + kHold + kPad);
    segs_.resize(4096);
    uint16_t const one = 1;
    uint8_t firstByte;
    std::memcpy(&firstByte, &one, 1);
    directOut_ =
        enc_->getCharSet() == VYNCS_UTF16 && !opt_.to.ucs2 && !mayHaveLone_ && firstByte == 1;
    passUtf8_ = family_ == Family::Utf8 && !opt_.lenient && enc_->getCharSet() == VYNCS_UTF8;
    stopOnBad_ = opt_.mode == OnError::Stop;
    keepBad_ = opt_.mode == OnError::Replace || opt_.mode == OnError::Escape;
}

// ---------------------------------------------------------------------------
// Byte rules of each family: where a region may be cut, how long a character
// is, whether the end of input cut one short, where a pivot unit came from.

// Which family's rules the input follows, and the bytes that always end a
// character in the multibyte sets.
void StreamConverter::setRules() {
    // Which byte rules apply to the input; the lenient UTF forms and escaped
    // text leave all decoding to the converter.
    switch (dec_->getCharSet()) {
    case VYNCS_UTF8:
        family_ = Family::Utf8;
        break;
    case VYNCS_UTF16:
        family_ = Family::Utf16;
        break;
    case VYNCS_UTF32:
        family_ = Family::Utf32;
        break;
    case VYNCS_UTF16ESC:
        family_ = Family::Utf16Esc;
        break;
    // Trail bytes of the double-byte sets are 0x40 or more.
    case VYNCS_WCP932:
    case VYNCS_WCP936:
    case VYNCS_WCP949:
    case VYNCS_WCP950:
    case VYNCS_SHIFTJIS:
    case VYNCS_SJIS0213:
    case VYNCS_BIG5:
        family_ = Family::Multi;
        safeBelow_ = 0x40;
        break;
    // EUC-CN/KR pairs are two bytes of 0xA1-0xFE.
    case VYNCS_EUC_CN:
    case VYNCS_EUC_KR:
        family_ = Family::Multi;
        safeBelow_ = 0xA1;
        break;
    // EUC-JP takes any byte as the second of a pair, but never one below 0x7F
    // as the first, so such a byte always ends a character.
    case VYNCS_EUC_JP:
        family_ = Family::Multi;
        safeBelow_ = 0x7F;
        break;
    // GB18030: the four-byte form has ASCII digits second and fourth.
    case VYNCS_GB18030:
        family_ = Family::Multi;
        safeBelow_ = 0x80;
        gb18030_ = true;
        break;
    default:
        family_ = opt_.from.ascii ? Family::Ascii : Family::Sbcs;
        break;
    }
    // The two-byte sets follow the pair rule read off the converter, except
    // Shift_JIS-2004, some of whose characters give two units.
    pairRule_ = family_ == Family::Multi && maxUnit_ == 2 && dec_->getCharSet() != VYNCS_SJIS0213;
    if (pairRule_) learnPairs();
}

// Double-byte sets: which bytes lead a pair and which may follow, read off
// the converter itself (a lead byte and a trail byte make one character, and
// one unit, whether mapped or not; anything else is one byte).
void StreamConverter::learnPairs() {
    lead_.assign(256, 0);
    trail_.assign(256, 0);
    uint8_t t[4 + kPad] = {};
    unsigned short u[8];
    for (unsigned b = 1; b < 256; ++b)
        for (unsigned c = 1; c < 256; ++c) {
            t[0] = static_cast<uint8_t>(b);
            t[1] = static_cast<uint8_t>(c);
            bool flag;
            if (dec_->toUTF16(u, t, 4, ILLCHAR_REPLACE, &flag, 2) == 1) lead_[b] = trail_[c] = 1;
        }
}

// The last place in buf_[0, n) where the input may be cut without splitting a
// character, looking back at most lookBack_ bytes; kNone when there is none.
size_t StreamConverter::cutPoint(size_t n) const {
    uint8_t const* p = buf_.data();
    size_t const stop = n > lookBack_ ? n - lookBack_ : 0;
    switch (family_) {
    case Family::Sbcs:
    case Family::Ascii:
        return n;
    case Family::Utf16: {
        size_t c = n & ~size_t(1);
        // Keep a pair together (the converter joins them).
        if (c >= 2 && isHigh(load16(p + c - 2, inBig_))) c -= 2;
        return c;
    }
    case Family::Utf32:
        return n & ~size_t(3);
    case Family::Utf8:
        for (size_t i = n; i > stop;) {
            uint8_t b = p[--i];
            if (b < 0x80) return i + 1;
            if (b >= 0xC0) return i; // a lead byte starts a character
        }
        return n; // continuation bytes only: each is one character
    case Family::Utf16Esc:
        for (size_t i = n; i > stop;) {
            uint8_t b = p[--i];
            if (b == 'U') return i; // an escape starts with it
            if (!(b == '+' || (b >= '0' && b <= '9') || (b >= 'A' && b <= 'F'))) return i + 1;
        }
        return n; // no 'U' in sight: no escape to split
    case Family::Multi:
        for (size_t i = n; i > stop;) {
            uint8_t b = p[--i];
            // A byte that never leads a pair ends a character.
            if (pairRule_ ? !lead_[b] : b < safeBelow_ && !(gb18030_ && b >= '0' && b <= '9'))
                return i + 1;
        }
        return kNone;
    }
    return n;
}

// Bytes of the character at buf_[a]: the longest prefix, up to the set's
// longest character, that the converter reads as one character (an invalid
// pair it replaces as a whole counts as one).
size_t StreamConverter::charLen(size_t a, size_t b) {
    unsigned short u[16];
    for (size_t j = std::min(maxUnit_, b - a); j > 1; --j) {
        bool flag;
        size_t n = decodeSpan(a, a + j, ILLCHAR_REPLACE, &flag, u);
        if (n == 1 || (n == 2 && isHigh(u[0]) && isLow(u[1]))) return j;
    }
    return 1;
}

// True when buf_[a, b), at the end of the input, is the start of a character
// that more bytes would have completed. Tries one more byte of every value,
// then longer endings in the shapes the four- and three-byte forms take.
bool StreamConverter::truncatedAtEnd(size_t a, size_t b) {
    size_t have = b - a;
    if (have == 0 || have >= maxUnit_) return false;
    uint8_t t[8 + kPad];
    unsigned short u[16];
    for (size_t extra = 1; have + extra <= maxUnit_; ++extra)
        for (int shape = 0; shape < 2; ++shape)
            for (unsigned v = 0; v < 256; ++v) {
                std::memset(t, 0, sizeof t);
                std::memcpy(t, &buf_[a], have);
                t[have] = static_cast<uint8_t>(v);
                for (size_t k = 1; k < extra; ++k) {
                    uint8_t prev = t[have + k - 1];
                    t[have + k] = shape == 0 ? prev : prev >= 0x80 ? 0x30 : 0x81;
                }
                bool flag = false;
                size_t n = dec_->toUTF16(u, t, 8, ILLCHAR_STOP, &flag, int(have + extra));
                if (!flag && n > 0 && t[have] != 0) return true;
            }
    return false;
}

// True when pivot unit idx replaces invalid input.
bool StreamConverter::isBadUnit(size_t idx) const {
    auto it = std::upper_bound(segs_.begin(), segs_.begin() + segCount_, idx,
                               [](size_t v, Seg const& s) { return v < s.unit0; });
    // Asked of U+FFFD units only: a NUL's unit is 0.
    return it != segs_.begin() && (it - 1)->kind == SegKind::Unit && (it - 1)->unit0 == idx;
}

// Input offset of pivot unit idx of the current region. segs_ holds only the
// places where the decoding did not follow the byte rules (invalid input,
// NULs split off); between them the rules give each unit's bytes.
uint64_t StreamConverter::offsetOfUnit(size_t idx) {
    if (carryIsUnit0_ && idx == 0) return carryOff_;
    auto it = std::upper_bound(segs_.begin(), segs_.begin() + segCount_, idx,
                               [](size_t v, Seg const& s) { return v < s.unit0; });
    size_t local = 0, unit = carryIsUnit0_ ? 1 : 0;
    if (it != segs_.begin()) {
        Seg const& s = *--it;
        if (s.unit0 == idx && s.kind == SegKind::Unit) return base_ + s.local;
        local = s.local + s.len;
        unit = s.unit0 + (s.kind == SegKind::Unit ? 1 : 0);
    }
    uint64_t const off = base_ + local;
    Seg const s = {uint32_t(local), uint32_t(regionLen_ - local), uint32_t(unit), SegKind::Unit};
    size_t k = idx - s.unit0;
    uint8_t const* p = &buf_[s.local];
    size_t i = 0, u = 0;
    switch (family_) {
    case Family::Sbcs:
    case Family::Ascii:
        return off + k;
    case Family::Utf16:
        return off + 2 * k;
    case Family::Utf32:
        for (; i + 4 <= s.len; i += 4) {
            size_t w = load32(p + i, inBig_) > 0xFFFF ? 2 : 1;
            if (u + w > k) break;
            u += w;
        }
        return off + i;
    case Family::Utf8:
        while (i < s.len) {
            size_t len = p[i] < 0x80 ? 1 : p[i] < 0xE0 ? 2 : p[i] < 0xF0 ? 3 : 4;
            size_t w = len == 4 ? 2 : 1;
            if (u + w > k) break;
            u += w;
            i += len;
        }
        return off + i;
    case Family::Utf16Esc:
        while (i < s.len && u < k) {
            // An escape as the converter reads it (whole, upper-case digits).
            unsigned short unit;
            bool esc = i + 6 <= s.len && vyn::detail::readEscape(p + i, &unit);
            i += esc ? 6 : 1;
            ++u;
        }
        return off + i;
    case Family::Multi:
        if (k > 0 && isLow(pivot_[idx]) && isHigh(pivot_[idx - 1])) --k;
        return off + prefixFor(s.local, s.local + s.len, k);
    }
    return off;
}

// ---------------------------------------------------------------------------
// Reading.

StreamConverter::Result StreamConverter::run(int fd, std::string const& label, size_t index,
                                             Progress* progress) {
    label_ = label;
    input_ = index;
    // Problems of this input are worth describing while none is known before
    // them.
    noteBelow_ = haveFirst_ ? 0 : UINT64_MAX;
    base_ = 0;
    hasCarry_ = false;
    stopped_ = false;
    inBig_ = opt_.from.bigEndian;
    bool bomPending = opt_.from.bom;
    bool const unicodeIn =
        family_ == Family::Utf8 || family_ == Family::Utf16 || family_ == Family::Utf32;
    skipSignature_ = opt_.removeSignature && unicodeIn;
    size_t keep = 0;
    uint64_t total = 0;
    bool eof = false;
    for (;;) {
        size_t got = 0;
        if (!eof) {
            ssize_t r = readSome(fd, buf_.data() + keep, opt_.chunk);
            if (r < 0) return ReadError;
            got = static_cast<size_t>(r);
            eof = got == 0;
            total += got;
            if (progress) progress->advance(total);
        }
        size_t n = keep + got;
        if (bomPending) {
            // UTF-16 and UTF-32 take their byte order from a mark, which is
            // not part of the text; little-endian without one.
            size_t const w = family_ == Family::Utf32 ? 4 : 2;
            if (n < w && !eof) {
                keep = n;
                continue;
            }
            uint8_t const* p = buf_.data();
            size_t skip = 0;
            if (w == 2 && n >= 2) {
                if (p[0] == 0xFF && p[1] == 0xFE) skip = 2, inBig_ = false;
                if (p[0] == 0xFE && p[1] == 0xFF) skip = 2, inBig_ = true;
            } else if (w == 4 && n >= 4) {
                uint32_t v = load32(p, false);
                if (v == 0x0000FEFFu) skip = 4, inBig_ = false;
                if (v == 0xFFFE0000u) skip = 4, inBig_ = true;
            }
            std::memmove(buf_.data(), buf_.data() + skip, n - skip);
            n -= skip;
            base_ += skip;
            bomPending = false;
        }
        pivotLen_ = 0;
        segCount_ = 0;
        nulSeen_ = false;
        carryIsUnit0_ = false;
        encodeNoted_ = false;
        if (hasCarry_) {
            pivotRoom(1)[0] = carry_;
            pivotLen_ = 1;
            carryIsUnit0_ = true;
            hasCarry_ = false;
        }
        regionLen_ = n;
        size_t used = decodeRegion(n, eof);
        if (writeFailed_) return WriteError;
        Result r = flushPivot(eof || stopped_);
        if (r != Ok) return r;
        if (stopped_) return Stopped;
        if (eof) return Ok;
        keep = n - used;
        std::memmove(buf_.data(), buf_.data() + used, keep);
        base_ += used;
    }
}

// An undecodable character at buf_[at, at + len). False: stop here.
inline bool StreamConverter::bad(size_t at, size_t len, bool truncated) {
    ++problems_;
    uint64_t const off = base_ + at;
    if (__builtin_expect(off < noteBelow_, 0)) noteBad(off, at, len, truncated);
    if (__builtin_expect(stopOnBad_, 0)) {
        stopped_ = true;
        return false;
    }
    if (__builtin_expect(segCount_ + 1 >= segs_.size(), 0)) segs_.resize(2 * segs_.size());
    segs_[segCount_++] = {uint32_t(at), uint32_t(len), uint32_t(pivotLen_),
                          keepBad_ ? SegKind::Unit : SegKind::Gone};
    if (keepBad_) {
        if (__builtin_expect(pivotLen_ + 1 >= pivot_.size(), 0)) pivotRoom(1);
        pivot_[pivotLen_++] = 0xFFFD;
    }
    return true;
}

// ---------------------------------------------------------------------------
// Decoding. Each decoder takes buf_[0, n), appends to the pivot, records which
// input bytes gave which units, and returns how many bytes it used (all of
// them at the end of the input; otherwise a character the region cut short
// waits for the next one).

size_t StreamConverter::decodeRegion(size_t n, bool eof) {
    if (passUtf8_) return passUtf8(n, eof);
    if (!opt_.lenient) {
        switch (family_) {
        case Family::Utf8:
            return decodeUtf8(n, eof);
        case Family::Utf16:
            return decodeUtf16(n, eof);
        case Family::Utf32:
            return decodeUtf32(n, eof);
        default:
            break;
        }
    }
    if (family_ == Family::Ascii) return decodeAscii(n);
    size_t end = eof ? n : cutPoint(n);
    bool const slowTail = end == kNone;
    if (slowTail) end = n;
    if (inBig_) swapUnits(buf_.data(), end, inUnit_);
    // Runs between NULs through the converter (which stops at a terminator);
    // each NUL becomes a zero unit.
    uint8_t const* p = buf_.data();
    size_t a = 0;
    for (size_t i = 0; i + inUnit_ <= end;) {
        size_t z;
        if (inUnit_ == 1) {
            void const* hit = std::memchr(p + i, 0, end - i);
            if (!hit) break;
            z = static_cast<size_t>(static_cast<uint8_t const*>(hit) - p);
        } else {
            bool zero = true;
            for (size_t k = 0; k < inUnit_; ++k) zero = zero && p[i + k] == 0;
            if (!zero) {
                i += inUnit_;
                continue;
            }
            z = i;
        }
        decodeLibraryRun(a, z, false);
        if (stopped_) return z;
        if (segCount_ + 1 >= segs_.size()) segs_.resize(2 * segs_.size());
        segs_[segCount_++] = {uint32_t(z), uint32_t(inUnit_), uint32_t(pivotLen_), SegKind::Unit};
        pivotRoom(1)[0] = 0;
        ++pivotLen_;
        nulSeen_ = true;
        a = i = z + inUnit_;
    }
    if (slowTail) {
        // No place to cut in sight: decode it all, and keep back a character
        // the region cut short.
        size_t const unit0 = pivotLen_;
        bool flag = false;
        size_t u = decodeSpan(a, end, ILLCHAR_REPLACE, &flag, pivotRoom(end - a + 1));
        size_t used = decodePairs(unit0, u, a, end, false, false);
        if (used != kNone) return used;
        pivotLen_ = unit0;
        return decodeSlow(a, end, false, false);
    }
    decodeLibraryRun(a, end, eof);
    return end;
}

// Well-formed UTF-8 only: no overlong forms, no encoded surrogates, nothing
// above U+10FFFF. An ill-formed sequence is replaced as a whole up to the
// first byte that cannot continue it.
size_t StreamConverter::decodeUtf8(size_t n, bool eof) {
    uint8_t const* p = buf_.data();
    unsigned short* pv = pivotRoom(n) - pivotLen_;
    size_t k = pivotLen_, i = 0;
    bool nul = false;
    // At most one record a byte: room for all of them before the loop.
    if (segs_.size() < segCount_ + n + kPad) segs_.resize(segCount_ + n + kPad);
    Seg* const segs = segs_.data();
    size_t segCount = segCount_, problems = 0;
    size_t const dropBad = keepBad_ ? 0 : 1;
    while (i < n) {
        while (i + 8 <= n) {
            uint64_t w;
            std::memcpy(&w, p + i, 8);
            if (w & 0x8080808080808080ull) break;
            nul |= ((w - 0x0101010101010101ull) & ~w & 0x8080808080808080ull) != 0;
            for (int j = 0; j < 8; ++j) pv[k + j] = p[i + j];
            k += 8;
            i += 8;
        }
        if (i >= n) break;
        uint8_t b = p[i];
        // Length and the range of the second byte, by byte (1: ASCII, 0:
        // never starts a character).
        uint32_t const info = kUtf8Lead[b];
        size_t const len = info & 7;
        // Well-formed two- and three-byte characters straight away, and the
        // ones of the same length that follow them.
        if (len == 2 && i + 1 < n && isUtf8Cont(p[i + 1])) {
            do {
                pv[k++] = static_cast<unsigned short>((p[i] & 0x1F) << 6 | (p[i + 1] & 0x3F));
                i += 2;
            } while (i + 1 < n && (kUtf8Lead[p[i]] & 7) == 2 && isUtf8Cont(p[i + 1]));
            continue;
        }
        if (len == 3 && i + 2 < n) {
            size_t const start = i;
            uint32_t in = info;
            while (i + 2 < n && (in & 7) == 3) {
                uint8_t const c0 = p[i], c1 = p[i + 1], c2 = p[i + 2];
                if (c1 < static_cast<uint8_t>(in >> 8) || c1 > static_cast<uint8_t>(in >> 16) ||
                    !isUtf8Cont(c2))
                    break;
                pv[k++] =
                    static_cast<unsigned short>((c0 & 0x0F) << 12 | (c1 & 0x3F) << 6 | (c2 & 0x3F));
                i += 3;
                if (i < n) in = kUtf8Lead[p[i]];
            }
            if (i != start) continue;
        }
        if (len < 2 && !stopOnBad_) {
            // One byte, one unit (or none when dropped), without a branch on
            // which: random input mispredicts any.
            size_t const isBad = len ^ 1;
            if (__builtin_expect(isBad & (base_ + i < noteBelow_), 0))
                noteBad(base_ + i, i, 1, false);
            pv[k] = isBad ? 0xFFFD : b;
            segs[segCount] = {uint32_t(i), 1, uint32_t(k),
                              keepBad_ ? SegKind::Unit : SegKind::Gone};
            segCount += isBad;
            problems += isBad;
            k += 1 - (isBad & dropBad);
            nul |= b == 0;
            ++i;
            continue;
        }
        if (len == 1) {
            nul |= b == 0;
            pv[k++] = b;
            ++i;
            continue;
        }
        if (len == 0) {
            pivotLen_ = k;
            segCount_ = segCount;
            if (!bad(i, 1)) return i;
            k = pivotLen_;
            ++i;
            continue;
        }
        uint8_t const lo = static_cast<uint8_t>(info >> 8), hi = static_cast<uint8_t>(info >> 16);
        size_t got = 1;
        if (i + 1 < n && p[i + 1] >= lo && p[i + 1] <= hi) {
            got = 2;
            while (got < len && i + got < n && isUtf8Cont(p[i + got])) ++got;
        }
        if (got == len) {
            uint32_t cp = b & (0x7F >> len);
            for (size_t j = 1; j < len; ++j) cp = cp << 6 | (p[i + j] & 0x3F);
            if (cp < 0x10000) {
                pv[k++] = static_cast<unsigned short>(cp);
            } else {
                cp -= 0x10000;
                pv[k++] = static_cast<unsigned short>(0xD800 + (cp >> 10));
                pv[k++] = static_cast<unsigned short>(0xDC00 + (cp & 0x3FF));
            }
            i += len;
            continue;
        }
        bool const cutShort = i + got == n;
        if (cutShort && !eof) break; // the rest comes with the next region
        pivotLen_ = k;
        segCount_ = segCount;
        problems_ += problems;
        problems = 0;
        bool const go = bad(i, got, cutShort);
        segCount = segCount_;
        if (!go) return i;
        k = pivotLen_;
        i += got;
    }
    pivotLen_ = k;
    segCount_ = segCount;
    problems_ += problems;
    nulSeen_ |= nul;
    return i;
}

// UTF-8 to UTF-8: well-formed input is its own output; only the invalid
// sequences (found by the same rules as decodeUtf8) are replaced, dropped or
// stopped at.
size_t StreamConverter::passUtf8(size_t n, bool eof) {
    uint8_t const* p = buf_.data();
    size_t i = 0, run = 0, w = 0;
    if (skipSignature_) {
        static uint8_t const kSig[3] = {0xEF, 0xBB, 0xBF};
        size_t m = std::min<size_t>(n, 3);
        bool const prefix = std::memcmp(p, kSig, m) == 0;
        if (prefix && m < 3 && !eof) return 0; // wait for the rest of it
        skipSignature_ = false;
        if (prefix && m == 3) i = run = 3;
    }
    if (outBuf_.size() < 3 * n + kPad) outBuf_.resize(3 * n + kPad);
    unsigned char* out = outBuf_.data();
    while (i < n) {
        while (i + 8 <= n) {
            uint64_t v;
            std::memcpy(&v, p + i, 8);
            if (v & 0x8080808080808080ull) break;
            i += 8;
        }
        if (i >= n) break;
        uint8_t const b = p[i];
        uint32_t const info = kUtf8Lead[b];
        size_t const len = info & 7;
        if (len == 1) {
            ++i;
            continue;
        }
        size_t got = 1;
        if (len && i + 1 < n && p[i + 1] >= ((info >> 8) & 0xFF) && p[i + 1] <= (info >> 16)) {
            got = 2;
            while (got < len && i + got < n && isUtf8Cont(p[i + got])) ++got;
            if (got == len) {
                i += len;
                continue;
            }
        }
        bool const cutShort = len && i + got == n;
        if (cutShort && !eof) break; // the rest comes with the next region
        std::memcpy(out + w, p + run, i - run);
        w += i - run;
        ++problems_;
        if (base_ + i < noteBelow_) noteBad(base_ + i, i, got, cutShort);
        if (stopOnBad_) {
            stopped_ = true;
            run = i;
            break;
        }
        if (keepBad_) {
            out[w++] = 0xEF;
            out[w++] = 0xBF;
            out[w++] = 0xBD;
        }
        i += got;
        run = i;
    }
    if (!stopped_) {
        std::memcpy(out + w, p + run, i - run);
        w += i - run;
    }
    if (!emit(out, w)) writeFailed_ = true;
    return i;
}

// The end of a UTF-16 or UTF-32 chunk: k pivot units so far, input read up
// to i of n. At the end of input a partial unit is a truncated character.
size_t StreamConverter::endFixedWidth(size_t k, bool nul, size_t i, size_t n, bool eof) {
    pivotLen_ = k;
    nulSeen_ |= nul;
    if (eof && i < n) {
        if (!bad(i, n - i, true)) return i;
        i = n;
    }
    return i;
}

// UTF-16 in either order: a surrogate without its partner is an error (UCS-2:
// every surrogate is).
size_t StreamConverter::decodeUtf16(size_t n, bool eof) {
    uint8_t const* p = buf_.data();
    unsigned short* pv = pivotRoom(n / 2 + 1) - pivotLen_;
    bool const ucs2 = opt_.from.ucs2, big = inBig_;
    size_t k = pivotLen_, i = 0;
    bool nul = false;
    while (i + 2 <= n) {
        uint16_t u = load16(p + i, big);
        if (!isSurrogate(u)) {
            nul |= u == 0;
            pv[k++] = u;
            i += 2;
            continue;
        }
        size_t len = 2;
        bool cutShort = false;
        if (isHigh(u) && !ucs2) {
            if (i + 4 <= n) {
                uint16_t v = load16(p + i + 2, big);
                if (isLow(v)) {
                    pv[k++] = u;
                    pv[k++] = v;
                    i += 4;
                    continue;
                }
            } else {
                cutShort = true;
                len = n - i;
                if (!eof) break;
            }
        }
        pivotLen_ = k;
        if (!bad(i, len, cutShort)) return i;
        k = pivotLen_;
        i += len;
    }
    return endFixedWidth(k, nul, i, n, eof);
}

// UTF-32 in either order: surrogate values and values above U+10FFFF are
// errors.
size_t StreamConverter::decodeUtf32(size_t n, bool eof) {
    uint8_t const* p = buf_.data();
    unsigned short* pv = pivotRoom(n / 2 + 1) - pivotLen_;
    size_t k = pivotLen_, i = 0;
    bool nul = false;
    for (; i + 4 <= n; i += 4) {
        uint32_t v = load32(p + i, inBig_);
        if (v < 0xD800 || (v > 0xDFFF && v < 0x10000)) {
            nul |= v == 0;
            pv[k++] = static_cast<unsigned short>(v);
            continue;
        }
        if (v >= 0x10000 && v <= 0x10FFFF) {
            v -= 0x10000;
            pv[k++] = static_cast<unsigned short>(0xD800 + (v >> 10));
            pv[k++] = static_cast<unsigned short>(0xDC00 + (v & 0x3FF));
            continue;
        }
        pivotLen_ = k;
        if (!bad(i, 4)) return i;
        k = pivotLen_;
    }
    return endFixedWidth(k, nul, i, n, eof);
}

// ASCII: seven bits; any other byte is invalid.
size_t StreamConverter::decodeAscii(size_t n) {
    uint8_t const* p = buf_.data();
    unsigned short* pv = pivotRoom(n) - pivotLen_;
    size_t k = pivotLen_;
    for (size_t i = 0; i < n; ++i) {
        if (p[i] < 0x80) {
            nulSeen_ |= p[i] == 0;
            pv[k++] = p[i];
            continue;
        }
        pivotLen_ = k;
        if (!bad(i, 1)) return i;
        k = pivotLen_;
    }
    pivotLen_ = k;
    return n;
}

// buf_[a, b), no NUL in it, ending between characters (or at the end of the
// input when atEnd). One converter call when all is well.
void StreamConverter::decodeLibraryRun(size_t a, size_t b, bool atEnd) {
    if (a >= b) return;
    size_t const unit0 = pivotLen_;
    unsigned short* dst = pivotRoom(b - a + 1);
    bool flag = false;
    size_t u = decodeSpan(a, b, ILLCHAR_REPLACE, &flag, dst);
    bool const lenientFamily = family_ == Family::Utf16Esc || family_ == Family::Utf8 ||
                               family_ == Family::Utf16 || family_ == Family::Utf32;
    if (!flag || lenientFamily) {
        pivotLen_ += u;
        return;
    }
    if (family_ == Family::Sbcs) {
        checkSbcs(unit0, a, b);
        return;
    }
    if (decodePairs(unit0, u, a, b, true, atEnd) == kNone) {
        pivotLen_ = unit0;
        decodeSlow(a, b, true, atEnd);
    }
}

// The u units the converter made of buf_[a, b) at pivot unit0, matched to
// their bytes by the pair rule: each U+FFFD is an invalid character. Returns
// the bytes used (unless final, a lead byte at b waits for more), or kNone
// when the units do not match the rule (a set whose characters may give two
// units), so that the caller locates the problems the slow way.
size_t StreamConverter::decodePairs(size_t unit0, size_t u, size_t a, size_t b, bool final,
                                    bool atEnd) {
    if (!pairRule_) return kNone;
    uint8_t const* p = buf_.data();
    uint8_t const* lead = lead_.data();
    uint8_t const* trail = trail_.data();
    unsigned short* pv = pivot_.data();
    size_t w = unit0, i = a;
    pivotLen_ = unit0;
    for (size_t k = 0; k < u; ++k) {
        size_t const len = lead[p[i]] && i + 1 < b && trail[p[i + 1]] ? 2 : 1;
        unsigned short const v = pv[unit0 + k];
        if (v != 0xFFFD) {
            pv[w++] = v;
            i += len;
            continue;
        }
        bool const cutShort = i + 1 == b && lead[p[i]];
        if (cutShort && !final) break;
        pivotLen_ = w;
        if (!bad(i, len, cutShort && atEnd)) return i;
        w = pivotLen_;
        i += len;
    }
    pivotLen_ = w;
    return i;
}

// A single-byte table gives one unit per byte and U+FFFD for a byte it does
// not map: those are the invalid ones.
void StreamConverter::checkSbcs(size_t unit0, size_t a, size_t b) {
    unsigned short* pv = pivot_.data();
    size_t w = unit0;
    for (size_t i = a; i < b; ++i) {
        unsigned short u = pv[unit0 + (i - a)];
        if (u != 0xFFFD) {
            pv[w++] = u;
            continue;
        }
        pivotLen_ = w;
        if (!bad(i, 1)) return;
        w = pivotLen_;
    }
    pivotLen_ = w;
}

// Locates invalid characters in buf_[a, b) through the converter's stops, a
// window at a time (short after an invalid character, so that each costs
// bounded work; growing over clean input). Unless final, a
// character cut short by b is left for the next region: returns where it
// starts.
size_t StreamConverter::decodeSlow(size_t a, size_t b, bool final, bool atEnd) {
    size_t q = a, window = kMinWindow;
    while (q < b) {
        size_t const w = std::min(b, q + window);
        unsigned short* dst = pivotRoom(w - q + 1);
        bool flag = false;
        size_t u = decodeSpan(q, w, ILLCHAR_STOP, &flag, dst);
        if (!flag) {
            pivotLen_ += u;
            q = w;
            window = std::min(window + window / 2, kMaxWindow);
            continue;
        }
        window = kMinWindow;
        size_t e = q + prefixFor(q, w, u);
        pivotLen_ += u;
        if (w < b && e + maxUnit_ > w) { // perhaps cut by the window: look again
            q = e;
            continue;
        }
        if (!final && e + maxUnit_ > b) return e;
        if (atEnd && truncatedAtEnd(e, b)) {
            if (!bad(e, b - e, true)) return e;
            return b;
        }
        size_t len = charLen(e, b);
        if (!bad(e, len)) return e;
        q = e + len;
    }
    return b;
}

size_t StreamConverter::decodeSpan(size_t a, size_t b, ILLCHAR_OPTYPE op, bool* flag,
                                   unsigned short* dst) {
    *flag = false;
    if (b <= a) {
        dst[0] = 0;
        return 0;
    }
    uint8_t saved[4];
    std::memcpy(saved, &buf_[b], 4);
    std::memset(&buf_[b], 0, 4);
    size_t len = b - a;
    int maxSrc = static_cast<int>(len / inUnit_);
    size_t u = dec_->toUTF16(dst, &buf_[a], len, op, flag, maxSrc);
    std::memcpy(&buf_[b], saved, 4);
    return u;
}

size_t StreamConverter::stopUnits(size_t a, size_t b) {
    if (tmp16_.size() < b - a + kPad) tmp16_.resize(b - a + kPad);
    bool flag;
    return decodeSpan(a, b, ILLCHAR_STOP, &flag, tmp16_.data());
}

// Smallest k such that the clean characters of buf_[a, a + k) give at least
// `units` units: where those characters end. Each character takes at most
// maxUnit_ bytes and gives at least one unit, which bounds the search.
size_t StreamConverter::prefixFor(size_t a, size_t b, size_t units) {
    if (units == 0) return 0;
    size_t lo = 0, hi = std::min(b - a, units * maxUnit_);
    while (lo < hi) {
        size_t mid = lo + (hi - lo) / 2;
        if (stopUnits(a, a + mid) >= units)
            hi = mid;
        else
            lo = mid + 1;
    }
    return lo;
}

// Room for `units` more units (and a terminator) after the pivot's end.
unsigned short* StreamConverter::pivotRoom(size_t units) {
    size_t need = pivotLen_ + units + kPad;
    if (pivot_.size() < need) pivot_.resize(std::max(need, 2 * pivot_.size()));
    return pivot_.data() + pivotLen_;
}

void StreamConverter::note(uint64_t offset, std::string const& what) {
    first_.input = input_;
    first_.where = label_;
    first_.offset = offset;
    noteBelow_ = offset;
    first_.what = what;
    haveFirst_ = true;
}

bool StreamConverter::earlier(uint64_t offset) const {
    return !haveFirst_ || first_.input < input_ || offset < first_.offset;
}

void StreamConverter::noteBad(uint64_t off, size_t at, size_t len, bool truncated) {
    note(off, std::string(truncated ? "incomplete " : "invalid ") + opt_.from.name + " input" +
                  (truncated ? " at the end (" : " (") +
                  hexBytes(&buf_[at], std::min<size_t>(len, 8)) + ")");
}

// ---------------------------------------------------------------------------
// Encoding.

bool StreamConverter::emit(unsigned char* data, size_t n) {
    if (!wroteSignature_) {
        wroteSignature_ = true;
        bool const unicodeOut =
            opt_.to.cs == VYNCS_UTF8 || opt_.to.cs == VYNCS_UTF16 || opt_.to.cs == VYNCS_UTF32;
        if (opt_.to.bom || (opt_.addSignature && unicodeOut)) {
            unsigned short sig[2 + kPad] = {0xFEFF};
            unsigned char b[16];
            bool flag;
            size_t w = enc_->fromUTF16(b, sig, 8, ILLCHAR_STOP, &flag);
            if (!emit(b, w)) return false;
        }
    }
    if (n == 0) return true;
    if (outBig_) swapUnits(data, n, outNul_);
    return out_.write(data, n);
}

bool StreamConverter::writeNul() {
    unsigned char zeros[4] = {0, 0, 0, 0};
    return emit(zeros, outNul_);
}

// Encodes the pivot, NUL units included. Unless final, a trailing high
// surrogate waits for the next region, so that a pair cut by a region
// boundary is encoded whole.
StreamConverter::Result StreamConverter::flushPivot(bool final) {
    size_t start = 0, n = pivotLen_;
    if (skipSignature_ && n > 0) {
        skipSignature_ = false;
        if (pivot_[0] == 0xFEFF) start = 1;
    }
    if (directOut_) {
        // UTF-16 out of a pivot that holds no lone surrogate: the pivot is the
        // output, NUL units included.
        if (!final && n > start && isHigh(pivot_[n - 1])) {
            carry_ = pivot_[n - 1];
            carryOff_ = offsetOfUnit(n - 1);
            hasCarry_ = true;
            --n;
        }
        if (n <= start) return Ok;
        return emit(reinterpret_cast<unsigned char*>(&pivot_[start]), 2 * (n - start)) ? Ok
                                                                                       : WriteError;
    }
    if (nulSeen_)
        for (size_t i = start; i < n; ++i) {
            // Four units a step while none is zero.
            for (uint64_t w; i + 4 <= n; i += 4) {
                std::memcpy(&w, &pivot_[i], 8);
                if ((w - 0x0001000100010001ull) & ~w & 0x8000800080008000ull) break;
            }
            if (i >= n) break;
            if (pivot_[i] != 0) continue;
            Result r = encodeSpan(start, i);
            if (r != Ok) return r;
            if (!writeNul()) return WriteError;
            start = i + 1;
        }
    if (!final && n > start && isHigh(pivot_[n - 1])) {
        carry_ = pivot_[n - 1];
        carryOff_ = offsetOfUnit(n - 1);
        hasCarry_ = true;
        --n;
    }
    return encodeSpan(start, n);
}

StreamConverter::Result StreamConverter::encodeSpan(size_t a, size_t b) {
    while (a < b) {
        size_t e = std::min(b, a + kBatch);
        if (e < b && isHigh(pivot_[e - 1]) && isLow(pivot_[e])) ++e;
        Result r = encodeBatch(a, e);
        if (r != Ok) return r;
        a = e;
    }
    return Ok;
}

// Characters the tool itself rules out of the target: above 0x7F in ASCII,
// pairs in UCS-2.
bool StreamConverter::unconvertible(unsigned short const* u, size_t len) const {
    return (opt_.to.ascii && u[0] > 0x7F) ||
           (opt_.to.ucs2 && (len == 2 || isHigh(u[0]) || isLow(u[0])));
}

size_t StreamConverter::encodeOne(unsigned short const* u, size_t n, ILLCHAR_OPTYPE op, bool* flag,
                                  unsigned char* out) {
    unsigned short src[2 + kPad] = {};
    std::memcpy(src, u, n * sizeof *u);
    *flag = false;
    return enc_->fromUTF16(out, src, 96, op, flag);
}

// ASCII text in the target set.
size_t StreamConverter::encodeText(char const* text, unsigned char* out) {
    unsigned short src[24 + kPad] = {};
    for (size_t k = 0; text[k] && k < 24; ++k) src[k] = static_cast<unsigned char>(text[k]);
    bool flag;
    return enc_->fromUTF16(out, src, 96, ILLCHAR_REPLACE, &flag);
}

// A transliteration of the character at u (len units) that the target holds
// whole, written to out; 0 when there is none.
size_t StreamConverter::transliterate(unsigned short const* u, size_t len, unsigned char* out) {
    if (len != 1) return 0;
    char16_t const* text = nullptr;
    size_t n = translitLookup(u[0], &text);
    if (n == 0 || n > 8) return 0;
    size_t w = 0;
    for (size_t i = 0; i < n; ++i) {
        unsigned short c = static_cast<unsigned short>(text[i]);
        if (unconvertible(&c, 1)) return 0;
        bool flag;
        size_t got = encodeOne(&c, 1, ILLCHAR_STOP, &flag, out + w);
        if (flag || got == 0) return 0;
        w += got;
    }
    return w;
}

// Pivot units [a, b), no NUL among them. One converter call when nothing is
// wrong; otherwise character by character, so that each unconvertible one is
// found, reported, and replaced, escaped, dropped, transliterated or stopped
// at. One at a time, an escaped lone high surrogate cannot take the next
// character with it.
StreamConverter::Result StreamConverter::encodeBatch(size_t a, size_t b) {
    size_t const n = b - a;
    unsigned short* u = &pivot_[a];
    if (outBuf_.size() < n * kMaxOutPerUnit + kPad)
        outBuf_.resize(kBatch * kMaxOutPerUnit + 2 * kPad);
    // Lone high surrogates end some encoders' output silently, and the tool's
    // own limits are not the converter's: both take the careful path.
    bool careful = false;
    if (mayHaveLone_)
        for (size_t i = 0; i < n && !careful; ++i)
            if (isHigh(u[i])) {
                if (i + 1 < n && isLow(u[i + 1]))
                    ++i;
                else
                    careful = true;
            }
    if (opt_.to.ascii) {
        unsigned short acc = 0;
        for (size_t i = 0; i < n; ++i) acc |= u[i];
        careful = careful || acc > 0x7F;
        if (!careful) {
            for (size_t i = 0; i < n; ++i) outBuf_[i] = static_cast<unsigned char>(u[i]);
            return emit(outBuf_.data(), n) ? Ok : WriteError;
        }
    }
    if (opt_.to.ucs2)
        for (size_t i = 0; i < n && !careful; ++i) careful = isHigh(u[i]) || isLow(u[i]);
    if (!careful) {
        unsigned short saved = pivot_[b];
        pivot_[b] = 0;
        bool flag = false;
        size_t w = enc_->fromUTF16(outBuf_.data(), u, n * kMaxOutPerUnit, ILLCHAR_REPLACE, &flag);
        pivot_[b] = saved;
        if (!flag) return emit(outBuf_.data(), w) ? Ok : WriteError;
    }
    size_t w = 0;
    unsigned char one[128];
    for (size_t i = 0; i < n;) {
        size_t len = isHigh(u[i]) && i + 1 < n && isLow(u[i + 1]) ? 2 : 1;
        bool flag = false;
        size_t got = 0;
        bool const own = unconvertible(u + i, len);
        if (!own) got = encodeOne(u + i, len, ILLCHAR_STOP, &flag, one);
        if (own || flag || got == 0) {
            got = opt_.translit ? transliterate(u + i, len, one) : 0;
            // The replacement of invalid input was counted when it was read.
            bool const counted = u[i] == 0xFFFD && len == 1 && isBadUnit(a + i);
            if (got == 0 && !counted) {
                ++problems_;
                if (!haveFirst_ || (first_.input == input_ && !encodeNoted_)) {
                    encodeNoted_ = true;
                    uint64_t off = offsetOfUnit(a + i);
                    if (earlier(off))
                        note(off,
                             describeChar(u + i, len) + " cannot be written in " + opt_.to.name);
                }
            }
            if (got == 0) {
                if (opt_.mode == OnError::Stop) {
                    stopped_ = true;
                    return emit(outBuf_.data(), w) ? Stopped : WriteError;
                }
                if (opt_.mode == OnError::Escape && !own)
                    got = encodeOne(u + i, len, ILLCHAR_ESCAPE, &flag, one);
                if (got == 0 && (opt_.mode == OnError::Escape || opt_.mode == OnError::Replace)) {
                    // The converter wrote nothing for it: write its text ourselves.
                    char txt[24] = "?";
                    if (opt_.mode == OnError::Escape) {
                        if (len == 2)
                            std::snprintf(txt, sizeof txt, "U+%04X",
                                          0x10000 + ((u[i] - 0xD800) << 10) + (u[i + 1] - 0xDC00));
                        else
                            std::snprintf(txt, sizeof txt, "U+%04X", u[i]);
                    }
                    got = encodeText(txt, one);
                }
                if (opt_.mode == OnError::Drop || opt_.mode == OnError::Ignore) got = 0;
            }
        }
        std::memcpy(&outBuf_[w], one, got);
        w += got;
        i += len;
    }
    return emit(outBuf_.data(), w) ? Ok : WriteError;
}

} // namespace vynconv
