// Streaming conversion for vynconv: reads any amount of input in bounded
// memory and linear time, cuts it only between characters, keeps NUL bytes and
// units, checks Unicode input strictly, and reports the first problem with its
// byte offset.
#ifndef VYNCONV_STREAM_H
#define VYNCONV_STREAM_H

#include "charsets.h"

#include <vynulib/vynulib.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace vynconv {

// Drop: silently (-c). Ignore: dropped but still counted (//IGNORE).
enum class OnError { Replace, Stop, Escape, Drop, Ignore };

// Where converted bytes go.
class Output {
public:
    virtual ~Output() = default;
    virtual bool write(void const* data, size_t n) = 0;
};

// Told how far the input has got.
class Progress {
public:
    virtual ~Progress() = default;
    virtual void advance(uint64_t bytesRead) = 0;
};

// The first problem in input order over all inputs, and how many there were.
struct Problem {
    size_t input = 0;  // index of the input it is in
    std::string where; // input label
    uint64_t offset = 0;
    std::string what;
};

struct StreamOptions {
    Endpoint from, to;
    OnError mode = OnError::Replace;
    bool lenient = false;      // the library's own decoding of UTF input
    bool translit = false;     // approximate what the target cannot hold
    bool addSignature = false; // U+FEFF first in a Unicode output
    bool removeSignature = false;
    size_t chunk = 0; // bytes read at a time; 0: the default
};

constexpr size_t kDefaultChunk = 64 * 1024;

class StreamConverter {
public:
    enum Result { Ok, Stopped, ReadError, WriteError };

    StreamConverter(StreamOptions const& opt, Output& out);

    // Converts one whole input. Inputs are independent of each other.
    Result run(int fd, std::string const& label, size_t index, Progress* progress);

    uint64_t problemCount() const { return problems_; }
    Problem const& firstProblem() const { return first_; }

private:
    enum class Family { Sbcs, Ascii, Utf8, Utf16, Utf32, Utf16Esc, Multi };
    // Unit: gave one pivot unit (a replacement, a NUL); Gone: gave none.
    enum class SegKind : uint8_t { Unit, Gone };
    struct Seg {
        uint32_t local; // its start in the region
        uint32_t len;   // bytes
        uint32_t unit0; // first pivot unit it produced
        SegKind kind;
    };

    // Byte rules (one place per family).
    void setRules();
    size_t cutPoint(size_t n) const;
    size_t charLen(size_t a, size_t b);
    bool truncatedAtEnd(size_t a, size_t b);

    size_t decodeRegion(size_t n, bool eof);
    size_t decodeUtf8(size_t n, bool eof);
    size_t passUtf8(size_t n, bool eof);
    size_t decodeUtf16(size_t n, bool eof);
    size_t decodeUtf32(size_t n, bool eof);
    size_t endFixedWidth(size_t k, bool nul, size_t i, size_t n, bool eof);
    size_t decodeAscii(size_t n);
    void decodeLibraryRun(size_t a, size_t b, bool atEnd);
    size_t decodeSlow(size_t a, size_t b, bool final, bool atEnd);
    size_t decodePairs(size_t unit0, size_t u, size_t a, size_t b, bool final, bool atEnd);
    void learnPairs();
    void checkSbcs(size_t unit0, size_t a, size_t b);

    size_t decodeSpan(size_t a, size_t b, ILLCHAR_OPTYPE op, bool* flag, unsigned short* dst);
    size_t stopUnits(size_t a, size_t b);
    size_t prefixFor(size_t a, size_t b, size_t units);
    unsigned short* pivotRoom(size_t units);
    bool bad(size_t at, size_t len, bool truncated = false);
    void noteBad(uint64_t off, size_t at, size_t len, bool truncated);
    uint64_t offsetOfUnit(size_t idx);
    bool isBadUnit(size_t idx) const;
    bool earlier(uint64_t offset) const;
    void note(uint64_t offset, std::string const& what);

    Result flushPivot(bool final);
    Result encodeSpan(size_t a, size_t b);
    Result encodeBatch(size_t a, size_t b);
    bool unconvertible(unsigned short const* u, size_t len) const;
    size_t encodeOne(unsigned short const* u, size_t n, ILLCHAR_OPTYPE op, bool* flag,
                     unsigned char* out);
    size_t encodeText(char const* text, unsigned char* out);
    size_t transliterate(unsigned short const* u, size_t len, unsigned char* out);
    bool emit(unsigned char* data, size_t n);
    bool writeNul();

    StreamOptions opt_;
    VynCharSetConverter* dec_;
    VynCharSetConverter* enc_;
    Family family_;
    bool inBig_ = false, outBig_ = false;
    uint8_t safeBelow_ = 0; // Multi: bytes below this end a character
    bool gb18030_ = false;
    bool pairRule_ = false; // lead_ and trail_ tell the characters' lengths
    std::vector<uint8_t> lead_, trail_;
    size_t inUnit_, outNul_, maxUnit_;
    size_t lookBack_ = 0; // how far back a cut is looked for
    Output& out_;

    std::string label_;
    size_t input_ = 0;
    uint64_t base_ = 0; // absolute offset of buf_[0]
    size_t regionLen_ = 0;
    std::vector<uint8_t> buf_;
    std::vector<unsigned short> pivot_, tmp16_;
    size_t pivotLen_ = 0;
    bool mayHaveLone_ = false;
    std::vector<unsigned char> outBuf_;
    std::vector<Seg> segs_; // at most one a byte of the region
    size_t segCount_ = 0;
    uint64_t noteBelow_ = UINT64_MAX; // a problem before this offset becomes the first
    bool hasCarry_ = false;
    unsigned short carry_ = 0;
    uint64_t carryOff_ = 0;
    bool carryIsUnit0_ = false;
    bool skipSignature_ = false;  // a U+FEFF to drop at the start of this input
    bool wroteSignature_ = false; // the output's byte-order mark or signature
    bool stopped_ = false;
    bool stopOnBad_ = false, keepBad_ = true;
    bool directOut_ = false; // the pivot is written as it is
    bool passUtf8_ = false;  // UTF-8 to UTF-8: checked, not converted
    bool writeFailed_ = false;
    bool nulSeen_ = false;     // the region's pivot holds zero units
    bool encodeNoted_ = false; // an encoding problem of this region was placed

    uint64_t problems_ = 0;
    bool haveFirst_ = false;
    Problem first_;
};

} // namespace vynconv

#endif
