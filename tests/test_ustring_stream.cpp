// VynUString through byte streams: operator<<, operator>> and both getline.
// Inputs are ASCII (every default set maps it to itself) except for 0xFF,
// which the readers treat as the end of input before any conversion.
#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <vynulib/string/VynUString.h>

namespace {

using std::u16string;
using State = std::ios_base::iostate;
constexpr State kGood = std::ios_base::goodbit;
constexpr State kEof = std::ios_base::eofbit;
constexpr State kFail = std::ios_base::failbit;

VynUString U(u16string const& s) {
    std::vector<unsigned short> v(s.begin(), s.end());
    return VynUString(v.data(), v.data() + v.size());
}

u16string S(VynUString const& s) {
    return u16string(s.data(), s.data() + s.length());
}

u16string widen(std::string const& b) {
    return u16string(b.begin(), b.end());
}

// What is still in the stream, read without disturbing its state bits.
std::string rest(std::istream& is) {
    std::string r;
    for (int c = is.rdbuf()->sbumpc(); c != std::char_traits<char>::eof(); c = is.rdbuf()->sbumpc())
        r += static_cast<char>(c);
    return r;
}

enum class Reader { Word, LineDefault, LineNewline, LineSemicolon };

std::istream& read(Reader r, std::istream& is, VynUString& s) {
    switch (r) {
    case Reader::Word:
        return is >> s;
    case Reader::LineDefault:
        return getline(is, s);
    case Reader::LineNewline:
        return getline(is, s, '\n');
    case Reader::LineSemicolon:
        return getline(is, s, ';');
    }
    return is;
}

struct ReadCase {
    Reader reader;
    std::string in;
    std::streamsize width;
    std::string word;
    State state;
    std::string left;
};

void runReadCases(std::vector<ReadCase> const& cases) {
    for (auto const& c : cases) {
        std::istringstream is(c.in);
        is.width(c.width);
        VynUString s = U(u"previous");
        read(c.reader, is, s);
        std::string const where = "reader " + std::to_string(static_cast<int>(c.reader)) +
                                  " input \"" + c.in + "\" width " + std::to_string(c.width);
        EXPECT_EQ(S(s), widen(c.word)) << where;
        EXPECT_EQ(is.rdstate(), c.state) << where;
        EXPECT_EQ(is.width(), 0) << where;
        EXPECT_EQ(rest(is), c.left) << where;
    }
}

TEST(UStringStream, ReadWord) {
    runReadCases({
        {Reader::Word, "  ab cd", 0, "ab", kGood, " cd"},
        {Reader::Word, "ab", 0, "ab", kEof, ""},
        {Reader::Word, "\t\n\r\v\fab\ncd", 0, "ab", kGood, "\ncd"},
        {Reader::Word, "   ", 0, "", kEof | kFail, ""},
        {Reader::Word, "", 0, "", kEof | kFail, ""},
        {Reader::Word, "abcdef", 4, "abc", kGood, "def"},
        {Reader::Word, "  abcdef", 3, "ab", kGood, "cdef"},
        {Reader::Word, "ab", 3, "ab", kGood, ""}, // the limit stops it before the end is seen
        {Reader::Word, "abcdef", 1, "", kFail, "abcdef"},
        {Reader::Word, "  ab", 1, "", kFail, "  ab"},
        {Reader::Word, "abc", -5, "abc", kEof, ""},
        {Reader::Word,
         "ab\xFF"
         "cd",
         0, "ab", kEof,
         "\xFF"
         "cd"},
        {Reader::Word,
         "  \xFF"
         "ab",
         0, "", kEof | kFail,
         "\xFF"
         "ab"},
    });
}

TEST(UStringStream, ReadLine) {
    runReadCases({
        // Carriage return ends a line by default; line feed is text.
        {Reader::LineDefault, "ab\ncd", 0, "ab\ncd", kEof, ""},
        {Reader::LineDefault, "ab\rcd", 0, "ab", kGood, "cd"},
        {Reader::LineDefault, "\rab", 0, "", kFail, "ab"},
        {Reader::LineNewline, "  ab  \ncd", 0, "  ab  ", kGood, "cd"},
        {Reader::LineNewline, "\n", 0, "", kFail, ""},
        {Reader::LineNewline, "", 0, "", kEof | kFail, ""},
        {Reader::LineNewline, "abcdef\n", 3, "ab", kGood, "cdef\n"},
        {Reader::LineNewline, "ab\n", 3, "ab", kGood, "\n"}, // limit first: delimiter stays
        {Reader::LineNewline, "ab\n", 1, "", kFail, "ab\n"},
        {Reader::LineNewline,
         "ab\xFF"
         "c\n",
         0, "ab", kEof,
         "\xFF"
         "c\n"},
        {Reader::LineSemicolon, "a b;c", 0, "a b", kGood, "c"},
        {Reader::LineSemicolon, "a b", 0, "a b", kEof, ""},
    });
}

TEST(UStringStream, ReadNonAsciiWordKeepsItsBytes) {
    // Bytes 0x80 and up never count as space. The text they make depends on
    // the default set; where the word ends does not.
    std::istringstream is("a\x85\xA0"
                          "b c");
    VynUString s;
    is >> s;
    EXPECT_FALSE(s.empty());
    EXPECT_EQ(is.rdstate(), kGood);
    EXPECT_EQ(rest(is), " c");
}

TEST(UStringStream, LongInputGrowsPastInlineBuffer) {
    std::string big(100000, 'x');
    std::istringstream is(big + " tail");
    VynUString s;
    is >> s;
    EXPECT_EQ(S(s), widen(big));
    EXPECT_EQ(rest(is), " tail");
}

TEST(UStringStream, OldStateBitsAreKept) {
    std::istringstream is("ab");
    is.setstate(std::ios_base::eofbit);
    VynUString s;
    is >> s; // reads straight from the buffer, no sentry
    EXPECT_EQ(S(s), u"ab");
    EXPECT_EQ(is.rdstate(), kEof);
}

// A buffer that hands out its text, then throws on the next read.
class ThrowingBuf : public std::streambuf {
public:
    explicit ThrowingBuf(std::string text) : m_text(std::move(text)) {
        setg(&m_text[0], &m_text[0], &m_text[0] + m_text.size());
    }

protected:
    int_type underflow() override { throw std::runtime_error("device gone"); }

private:
    std::string m_text;
};

TEST(UStringStream, ThrowingBufferGivesFailbitAndNothing) {
    struct Case {
        Reader reader;
        std::string text;
    };
    Case const cases[] = {
        {Reader::Word, ""},
        {Reader::Word, "  abc"}, // bytes gathered before the throw are dropped
        {Reader::Word, std::string(5000, 'k')},
        {Reader::LineNewline, "abc"},
        {Reader::LineDefault, ""},
    };
    for (auto const& c : cases) {
        ThrowingBuf buf(c.text);
        std::istream is(&buf);
        is.width(0);
        VynUString s = U(u"previous");
        EXPECT_NO_THROW(read(c.reader, is, s));
        EXPECT_TRUE(s.empty()) << c.text;
        EXPECT_EQ(is.rdstate(), kFail) << c.text;
    }
}

TEST(UStringStream, NoBufferSetsFailAndBad) {
    std::istream is(nullptr);
    VynUString s = U(u"x");
    is >> s;
    EXPECT_TRUE(s.empty());
    EXPECT_TRUE(is.fail());
    EXPECT_TRUE(is.bad());
}

TEST(UStringStream, Write) {
    struct Case {
        u16string text;
        int width;
        std::string out;
    };
    Case const cases[] = {
        {u"abc", 0, "abc"},
        {u"", 0, ""},
        {u16string(u"a\0b", 3), 0, "a"}, // stops at the first zero byte
        {u"ab", 5, "***ab"},             // width and fill apply
        {u16string(300, u'w'), 0, std::string(300, 'w')},
    };
    for (auto const& c : cases) {
        std::ostringstream os;
        os << std::setfill('*') << std::setw(c.width) << U(c.text);
        EXPECT_EQ(os.str(), c.out);
        EXPECT_TRUE(os.good());
        EXPECT_EQ(os.width(), 0);
    }
}

TEST(UStringStream, WriteLeavesCallersCacheAlone) {
    VynUString s = U(u"cache");
    char const* p = s.c_str(VYNCS_UTF16);
    std::ostringstream os;
    os << s;
    EXPECT_EQ(os.str(), "cache");
    EXPECT_EQ(s.c_str(VYNCS_UTF16), p); // still the UTF-16 rendering, not replaced
}

} // namespace
