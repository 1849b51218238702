// Streaming conversion for vynconv: reads any amount of input in bounded
// memory, cuts it only between characters, keeps NUL bytes and units, and
// reports the first unconvertible character with its byte offset.
#ifndef VYNCONV_STREAM_H
#define VYNCONV_STREAM_H

#include <vynulib/vynulib.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace vynconv {

enum class OnError { Replace, Stop, Escape, Drop };

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

// The first problem met over all inputs, and how many there were.
struct Problem {
    std::string where; // input label
    uint64_t offset = 0;
    std::string what;
};

// Largest input chunk vynconv holds while looking for a place to cut: an input
// with no safe cut point (see safeCut) in this many bytes is cut where the
// library says the last whole character ends.
constexpr size_t kDefaultChunk = 64 * 1024;
constexpr size_t kMinHoldCap = 4 * 1024 * 1024;

class StreamConverter {
public:
    enum Result { Ok, Stopped, ReadError, WriteError };

    StreamConverter(VynCharSet from, VynCharSet to, OnError mode, size_t chunk, Output& out);

    // Converts one whole input. Inputs are independent of each other.
    Result run(std::FILE* in, std::string const& label, Progress* progress);

    uint64_t problemCount() const { return problems_; }
    Problem const& firstProblem() const { return first_; }

private:
    enum class Family { Sbcs, Utf8, Utf16, Utf32, Utf16Esc, Multi };
    enum class SegKind { Good, Bad, Fixed };
    struct Seg {
        uint64_t off; // absolute input offset of the segment
        size_t local; // its start in scratch_
        size_t len;   // bytes
        size_t unit0; // first pivot unit it produced
        SegKind kind;
    };

    size_t safeCut(size_t from) const;
    size_t forcedCut();
    bool isSafeAfter(uint8_t b) const;
    Result processRegion(size_t end, bool eof);
    Result decodeRun(uint8_t const* src, size_t n, bool final);
    Result flushPivot(bool final);

    // Decoding helpers over scratch_[a, b) (the bytes at b are zeroed for the
    // call and restored: every call sees a terminated source).
    size_t decodeSpan(size_t a, size_t b, ILLCHAR_OPTYPE op, bool* flag, unsigned short* dst);
    size_t appendGood(size_t a, size_t b);
    size_t stopUnits(size_t a, size_t b);
    size_t prefixFor(size_t a, size_t b, size_t units);
    size_t charLen(size_t a, size_t b);
    bool decodeWithLibraryStops(size_t n);
    bool bad(size_t at, size_t len);
    uint64_t offsetOfUnit(size_t idx);

    Result encodeSpan(size_t a, size_t b);
    Result encodeBatch(size_t a, size_t b);
    size_t encodeOne(unsigned short const* u, size_t n, ILLCHAR_OPTYPE op, bool* flag,
                     unsigned char* out);
    bool writeNul();
    bool countProblem();

    VynCharSetConverter* dec_;
    VynCharSetConverter* enc_;
    VynCharSet fromSet_, toSet_;
    Family family_;
    uint8_t safeBelow_ = 0; // Multi: bytes below this end a character
    bool gb18030_ = false;
    size_t inUnit_, outNul_, maxUnit_;
    OnError mode_;
    size_t chunk_, cap_;
    Output& out_;

    std::string label_;
    uint64_t base_ = 0;    // absolute offset of buf_[0]
    uint64_t runBase_ = 0; // absolute offset of scratch_[0]
    std::vector<uint8_t> buf_;
    std::vector<uint8_t> scratch_;
    std::vector<unsigned short> pivot_, tmp16_, in16_;
    std::vector<unsigned char> outBuf_;
    std::vector<Seg> segs_;
    bool hasCarry_ = false;
    unsigned short carry_ = 0;
    uint64_t carryOff_ = 0;

    uint64_t problems_ = 0;
    Problem first_;
};

} // namespace vynconv

#endif
