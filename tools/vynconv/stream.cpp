// Streaming conversion: chunked reading, safe cut points, NUL handling, error
// location. The converters do the character work; this file only decides what
// to hand them and reads back what they did.
#include "stream.h"

#include "charsets.h"

#include <algorithm>
#include <cstring>

namespace vynconv {
namespace {

// Zero bytes behind every source handed to a converter: a terminator of any
// width plus slack for converters that look a few elements ahead. The UTF-8
// encoder, escaping a lone high surrogate, skips the unit after it even when
// that is the terminator; the slack gives it more zeros to stop at instead of
// reading past the buffer.
constexpr size_t kPad = 16;
// UTF-16 units encoded per converter call.
constexpr size_t kBatch = 16384;
// Output bytes one UTF-16 unit can become: six UTF-32 values of an escape.
constexpr size_t kMaxOutPerUnit = 24;

bool isHigh(unsigned short u) {
    return u >= 0xD800 && u <= 0xDBFF;
}
bool isLow(unsigned short u) {
    return u >= 0xDC00 && u <= 0xDFFF;
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

std::string setName(VynCharSet cs) {
    SetInfo const* s = findSet(cs);
    return s ? s->name : std::to_string(static_cast<int>(cs));
}

} // namespace

StreamConverter::StreamConverter(VynCharSet from, VynCharSet to, OnError mode, size_t chunk,
                                 Output& out)
    : dec_(VynCharSetConverter::getConverter(from)), enc_(VynCharSetConverter::getConverter(to)),
      mode_(mode), chunk_(chunk ? chunk : kDefaultChunk), out_(out) {
    fromSet_ = dec_->getCharSet();
    toSet_ = enc_->getCharSet();
    cap_ = std::max(kMinHoldCap, 2 * chunk_);
    inUnit_ = static_cast<size_t>(dec_->getNullCharSize());
    outNul_ = static_cast<size_t>(enc_->getNullCharSize());
    maxUnit_ = static_cast<size_t>(std::max(1, dec_->getMaxUnitSize()));
    switch (fromSet_) {
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
        family_ = Family::Sbcs;
        break;
    }
}

bool StreamConverter::isSafeAfter(uint8_t b) const {
    if (family_ == Family::Utf8) return b < 0x80;
    if (family_ == Family::Utf16Esc)
        return !(b == 'U' || b == '+' || (b >= '0' && b <= '9') || (b >= 'A' && b <= 'F'));
    if (gb18030_ && b >= '0' && b <= '9') return false;
    return b < safeBelow_;
}

// The last place in buf_ where the input may be cut, looking only at bytes from
// `from` on (earlier ones held none); 0 when there is none.
size_t StreamConverter::safeCut(size_t from) const {
    size_t n = buf_.size();
    switch (family_) {
    case Family::Sbcs:
        return n;
    case Family::Utf16:
        return n & ~size_t(1);
    case Family::Utf32:
        return n & ~size_t(3);
    default:
        break;
    }
    for (size_t i = n; i > from;) {
        --i;
        uint8_t b = buf_[i];
        if (isSafeAfter(b)) return i + 1;
        // A UTF-8 lead byte and an escape's 'U' always start a character.
        if (family_ == Family::Utf8 && b >= 0xC0 && i > 0) return i;
        if (family_ == Family::Utf16Esc && b == 'U' && i > 0) return i;
    }
    return 0;
}

// No safe cut point in cap_ bytes. UTF-8 and escaped text without one are
// continuation bytes or escape-free text, which may be cut anywhere. The table
// sets ask the converter where the last whole character ends.
size_t StreamConverter::forcedCut() {
    size_t n = buf_.size();
    if (family_ != Family::Multi) return n;
    scratch_.assign(buf_.begin(), buf_.end());
    scratch_.resize(n + kPad, 0);
    bool flag = false;
    tmp16_.resize(n + kPad);
    size_t u = decodeSpan(0, n, ILLCHAR_STOP, &flag, tmp16_.data());
    if (!flag) return n;
    size_t b = prefixFor(0, n, u);
    return b > 0 ? b : charLen(0, n);
}

StreamConverter::Result StreamConverter::run(std::FILE* in, std::string const& label,
                                             Progress* progress) {
    label_ = label;
    base_ = 0;
    buf_.clear();
    hasCarry_ = false;
    size_t scanned = 0;
    uint64_t total = 0;
    bool eof = false;
    while (!eof) {
        size_t old = buf_.size();
        buf_.resize(old + chunk_);
        size_t got = std::fread(buf_.data() + old, 1, chunk_, in);
        buf_.resize(old + got);
        total += got;
        if (got < chunk_) {
            if (std::ferror(in)) return ReadError;
            eof = std::feof(in) != 0;
        }
        if (progress) progress->advance(total);
        size_t cut = buf_.size();
        if (!eof) {
            cut = safeCut(scanned);
            scanned = buf_.size();
            if (cut == 0) {
                if (buf_.size() < cap_) continue;
                cut = forcedCut();
            }
        }
        Result r = processRegion(cut, eof);
        buf_.erase(buf_.begin(), buf_.begin() + static_cast<std::ptrdiff_t>(cut));
        base_ += cut;
        scanned = buf_.size();
        if (r != Ok) return r;
    }
    return Ok;
}

// Converts buf_[0, end): runs between NULs go through the converters (which
// stop at terminators), each NUL becomes the output set's terminator.
StreamConverter::Result StreamConverter::processRegion(size_t end, bool eof) {
    uint8_t const* p = buf_.data();
    size_t runStart = 0, i = 0;
    while (i + inUnit_ <= end) {
        size_t nul;
        if (inUnit_ == 1) {
            void const* z = std::memchr(p + i, 0, end - i);
            if (!z) break;
            nul = static_cast<size_t>(static_cast<uint8_t const*>(z) - p);
        } else {
            bool zero = true;
            for (size_t k = 0; k < inUnit_; ++k) zero = zero && p[i + k] == 0;
            if (!zero) {
                i += inUnit_;
                continue;
            }
            nul = i;
        }
        runBase_ = base_ + runStart;
        Result r = decodeRun(p + runStart, nul - runStart, true);
        if (r != Ok) return r;
        if (!writeNul()) return WriteError;
        runStart = i = nul + inUnit_;
    }
    runBase_ = base_ + runStart;
    return decodeRun(p + runStart, end - runStart, eof);
}

bool StreamConverter::writeNul() {
    static unsigned char const zeros[4] = {0, 0, 0, 0};
    return out_.write(zeros, outNul_);
}

size_t StreamConverter::decodeSpan(size_t a, size_t b, ILLCHAR_OPTYPE op, bool* flag,
                                   unsigned short* dst) {
    *flag = false;
    if (b <= a) {
        dst[0] = 0;
        return 0;
    }
    uint8_t saved[4];
    std::memcpy(saved, &scratch_[b], 4);
    std::memset(&scratch_[b], 0, 4);
    size_t len = b - a;
    int maxSrc = static_cast<int>(len);
    if (family_ == Family::Utf16) maxSrc = static_cast<int>(len / 2);
    if (family_ == Family::Utf32) maxSrc = static_cast<int>(len / 4);
    size_t u = dec_->toUTF16(dst, &scratch_[a], len, op, flag, maxSrc);
    std::memcpy(&scratch_[b], saved, 4);
    return u;
}

// Decodes a span known to be clean onto the pivot.
size_t StreamConverter::appendGood(size_t a, size_t b) {
    if (b <= a) return 0;
    size_t at = pivot_.size();
    pivot_.resize(at + (b - a) + 1);
    bool flag;
    size_t u = decodeSpan(a, b, ILLCHAR_REPLACE, &flag, &pivot_[at]);
    pivot_.resize(at + u);
    segs_.push_back({runBase_ + a, a, b - a, at, SegKind::Good});
    return u;
}

size_t StreamConverter::stopUnits(size_t a, size_t b) {
    if (tmp16_.size() < b - a + kPad) tmp16_.resize(b - a + kPad);
    bool flag;
    return decodeSpan(a, b, ILLCHAR_STOP, &flag, tmp16_.data());
}

// Smallest k such that the clean characters of scratch_[a, a + k) give at least
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

// Bytes of the character at scratch_[a]: the longest prefix, up to the set's
// longest character, that decodes as exactly one character.
size_t StreamConverter::charLen(size_t a, size_t b) {
    unsigned short u[16];
    for (size_t j = std::min(maxUnit_, b - a); j > 1; --j) {
        bool flag;
        size_t n = decodeSpan(a, a + j, ILLCHAR_REPLACE, &flag, u);
        if (n == 1 || (n == 2 && isHigh(u[0]) && isLow(u[1]))) return j;
    }
    return 1;
}

// Counts a problem; true for the first one, whose details are worth working out.
bool StreamConverter::countProblem() {
    if (problems_++ != 0) return false;
    first_.where = label_;
    return true;
}

// An undecodable character at scratch_[at, at + len). False: stop here.
bool StreamConverter::bad(size_t at, size_t len) {
    if (countProblem()) {
        first_.offset = runBase_ + at;
        first_.what = "invalid " + setName(fromSet_) + " input (" +
                      hexBytes(&scratch_[at], std::min<size_t>(len, 8)) + ")";
    }
    if (mode_ == OnError::Stop) return false;
    if (mode_ != OnError::Drop) {
        segs_.push_back({runBase_ + at, at, len, pivot_.size(), SegKind::Bad});
        pivot_.push_back(0xFFFD);
    }
    return true;
}

// The table converters report bad input only through a flag: convert up to the
// first bad character with ILLCHAR_STOP, find where it starts and how long it
// is, and go on behind it. Costs a few extra passes over the clean stretches.
bool StreamConverter::decodeWithLibraryStops(size_t n) {
    size_t p = 0;
    while (p < n) {
        size_t at = pivot_.size();
        pivot_.resize(at + (n - p) + 1);
        bool flag;
        size_t u = decodeSpan(p, n, ILLCHAR_STOP, &flag, &pivot_[at]);
        pivot_.resize(at + u);
        if (!flag) {
            if (u) segs_.push_back({runBase_ + p, p, n - p, at, SegKind::Good});
            return true;
        }
        size_t b = p + prefixFor(p, n, u);
        if (u) segs_.push_back({runBase_ + p, p, b - p, at, SegKind::Good});
        size_t len = charLen(b, n);
        if (!bad(b, len)) return false;
        p = b + len;
    }
    return true;
}

StreamConverter::Result StreamConverter::decodeRun(uint8_t const* src, size_t n, bool final) {
    if (n == 0 && !hasCarry_) return Ok;
    scratch_.assign(src, src + n);
    scratch_.resize(n + kPad, 0);
    pivot_.clear();
    segs_.clear();
    if (hasCarry_) {
        segs_.push_back({carryOff_, 0, 0, 0, SegKind::Fixed});
        pivot_.push_back(carry_);
        hasCarry_ = false;
    }
    bool go = true;
    switch (family_) {
    case Family::Utf8: {
        // The converter reads UTF-8 leniently and flags every well-formed
        // four-byte sequence too, so the structure is checked here: a stray
        // continuation byte, or a lead byte without its continuation bytes, is
        // one bad byte (the converter resumes right after it as well).
        size_t good = 0, i = 0;
        while (go && i < n) {
            uint8_t b = scratch_[i];
            size_t len = b < 0x80 ? 1 : b < 0xC0 ? 0 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
            bool ok = len > 0;
            for (size_t k = 1; ok && k < len; ++k) ok = (scratch_[i + k] & 0xC0) == 0x80;
            if (ok) {
                i += len;
                continue;
            }
            appendGood(good, i);
            go = bad(i, 1);
            good = ++i;
        }
        if (go) appendGood(good, n);
        break;
    }
    case Family::Utf16:
    case Family::Utf32: {
        // Values above U+10FFFF would become meaningless pairs; a partial unit
        // can only be the end of the input.
        size_t w = inUnit_, good = 0, i = 0;
        for (; go && i + w <= n; i += w) {
            if (w == 4) {
                uint32_t v;
                std::memcpy(&v, &scratch_[i], 4);
                if (v <= 0x10FFFF) continue;
                appendGood(good, i);
                go = bad(i, 4);
                good = i + 4;
            }
        }
        if (go) appendGood(good, i);
        if (go && i < n) go = bad(i, n - i);
        break;
    }
    default: {
        size_t at = pivot_.size();
        pivot_.resize(at + n + 1);
        bool flag = false;
        size_t u = n ? decodeSpan(0, n, ILLCHAR_REPLACE, &flag, &pivot_[at]) : 0;
        pivot_.resize(at + u);
        if (!flag) {
            if (u) segs_.push_back({runBase_, 0, n, at, SegKind::Good});
        } else {
            pivot_.resize(at);
            go = decodeWithLibraryStops(n);
        }
        break;
    }
    }
    Result r = flushPivot(final || !go);
    if (r != Ok) return r;
    return go ? Ok : Stopped;
}

// Input offset of pivot unit idx.
uint64_t StreamConverter::offsetOfUnit(size_t idx) {
    auto it = std::upper_bound(segs_.begin(), segs_.end(), idx,
                               [](size_t v, Seg const& s) { return v < s.unit0; });
    if (it == segs_.begin()) return runBase_;
    Seg const& s = *--it;
    if (s.kind != SegKind::Good) return s.off;
    size_t k = idx - s.unit0;
    uint8_t const* p = &scratch_[s.local];
    size_t i = 0, u = 0;
    switch (family_) {
    case Family::Sbcs:
        return s.off + k;
    case Family::Utf16:
        return s.off + 2 * k;
    case Family::Utf32:
        while (i + 4 <= s.len) {
            uint32_t v;
            std::memcpy(&v, p + i, 4);
            size_t w = v > 0xFFFF ? 2 : 1;
            if (u + w > k) break;
            u += w;
            i += 4;
        }
        return s.off + i;
    case Family::Utf8:
        while (i < s.len) {
            size_t len = p[i] < 0x80 ? 1 : p[i] < 0xE0 ? 2 : p[i] < 0xF0 ? 3 : 4;
            size_t w = len == 4 ? 2 : 1;
            if (u + w > k) break;
            u += w;
            i += len;
        }
        return s.off + i;
    case Family::Utf16Esc:
        while (i < s.len && u < k) {
            bool esc = p[i] == 'U' && p[i + 1] == '+';
            for (size_t d = 2; esc && d < 6; ++d) {
                uint8_t c = p[i + d];
                esc = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F');
            }
            i += esc ? 6 : 1;
            ++u;
        }
        return s.off + i;
    case Family::Multi:
        if (k > 0 && isLow(pivot_[idx]) && isHigh(pivot_[idx - 1])) --k;
        return s.off + prefixFor(s.local, s.local + s.len, k);
    }
    return s.off;
}

// Encodes the pivot, NUL units included (an overlong UTF-8 NUL or an escaped
// U+0000 makes one). Unless final, a trailing high surrogate waits for the next
// run, so that a pair cut by a chunk boundary is encoded whole.
StreamConverter::Result StreamConverter::flushPivot(bool final) {
    size_t start = 0, n = pivot_.size();
    for (size_t i = 0; i < n; ++i) {
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

size_t StreamConverter::encodeOne(unsigned short const* u, size_t n, ILLCHAR_OPTYPE op, bool* flag,
                                  unsigned char* out) {
    unsigned short src[2 + kPad] = {};
    std::memcpy(src, u, n * sizeof *u);
    *flag = false;
    return enc_->fromUTF16(out, src, 96, op, flag);
}

// Pivot units [a, b), no NUL among them. One converter call when nothing is
// wrong; otherwise character by character, so that each unconvertible one is
// found, reported, and replaced, escaped, dropped or stopped at. One at a time,
// an escaped lone high surrogate cannot take the next character with it.
StreamConverter::Result StreamConverter::encodeBatch(size_t a, size_t b) {
    size_t n = b - a;
    in16_.assign(pivot_.begin() + static_cast<std::ptrdiff_t>(a),
                 pivot_.begin() + static_cast<std::ptrdiff_t>(b));
    in16_.resize(n + kPad, 0);
    unsigned short const* u = in16_.data();
    // A lone high surrogate ends some encoders' output silently, so it always
    // takes the careful path.
    bool lone = false;
    for (size_t i = 0; i < n && !lone; ++i)
        if (isHigh(u[i])) {
            if (i + 1 < n && isLow(u[i + 1]))
                ++i;
            else
                lone = true;
        }
    outBuf_.resize(n * kMaxOutPerUnit + kPad);
    if (!lone) {
        bool flag = false;
        size_t w = enc_->fromUTF16(outBuf_.data(), u, n * kMaxOutPerUnit, ILLCHAR_REPLACE, &flag);
        if (!flag) return out_.write(outBuf_.data(), w) ? Ok : WriteError;
    }
    size_t w = 0;
    unsigned char one[128];
    for (size_t i = 0; i < n;) {
        size_t len = isHigh(u[i]) && i + 1 < n && isLow(u[i + 1]) ? 2 : 1;
        bool flag;
        size_t got = encodeOne(u + i, len, ILLCHAR_STOP, &flag, one);
        if (flag || got == 0) {
            if (countProblem()) {
                first_.offset = offsetOfUnit(a + i);
                first_.what = describeChar(u + i, len) + " cannot be written in " + setName(toSet_);
            }
            if (mode_ == OnError::Stop) {
                if (!out_.write(outBuf_.data(), w)) return WriteError;
                return Stopped;
            }
            got = 0;
            if (mode_ != OnError::Drop) {
                ILLCHAR_OPTYPE op = mode_ == OnError::Escape ? ILLCHAR_ESCAPE : ILLCHAR_REPLACE;
                got = encodeOne(u + i, len, op, &flag, one);
                if (got == 0) {
                    // The converter wrote nothing for it: write its text ourselves.
                    std::string txt = "?";
                    if (mode_ == OnError::Escape) {
                        txt.clear();
                        for (size_t k = 0; k < len; ++k) {
                            char hex[8];
                            std::snprintf(hex, sizeof hex, "U+%04X", u[i + k]);
                            txt += hex;
                        }
                    }
                    unsigned short text[16 + kPad] = {};
                    for (size_t k = 0; k < txt.size(); ++k)
                        text[k] = static_cast<unsigned char>(txt[k]);
                    got = enc_->fromUTF16(one, text, 96, ILLCHAR_REPLACE, &flag);
                }
            }
        }
        std::memcpy(&outBuf_[w], one, got);
        w += got;
        i += len;
    }
    return out_.write(outBuf_.data(), w) ? Ok : WriteError;
}

} // namespace vynconv
